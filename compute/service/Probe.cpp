// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Probe.h"

#include "compute/service/Attacks.h"
#include "compute/service/Sandbox.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/prctl.h>

namespace compute::service {
namespace {

using platform::Result;

class Prober {
public:
    /// With a device, as a service that opens that one; without, for the processor.
    Result<void> tryAll(Compiler& compiler, std::string_view device) {
        SL42_TRY_VOID(detachFromSurroundings());
        const Target target = SL42_TRY(Target::create());
        m_isolation = isolate(device.empty() ? Files::None : Files::OfDrivers);
        if (!device.empty())
            SL42_TRY_VOID(compiler.openDevice(device));
        const Driver driver = compiler.device().driver();
        for (const IsolationAttack& attack : isolationAttacks())
            if (attack.isExpectedToFail(m_isolation)) {
                errno = 0;
                noteAttack(attack.what, attack.perform(target) < 0);
            }
        int signal = 0;
        ::prctl(PR_GET_PDEATHSIG, &signal);
        noteNecessity("end with the console", signal == SIGKILL);
        // As when intermediate code is dumped, which allows the most.
        SL42_TRY_VOID(lockDown(
            {.codeWriter = target.codeWriter, .dumpFolder = target.folder, .driver = driver}));
        for (const Attack& attack : attacks()) {
            if ((attack.expected == ENOMEM && !limitsMemory()) ||
                (attack.isSoftwareDrivers && driver == Driver::Software))
                continue;
            errno = 0;
            const bool failed = attack.perform(target) < 0;
            noteAttack(attack.what, failed && errno == attack.expected);
        }
        for (const Attack& necessity : necessities())
            noteNecessity(necessity.what, necessity.perform(target) >= 0);
        return {};
    }

    bool isAsItShouldBe() const { return m_denied == m_attempts && m_isAble; }

    std::string summary() const {
        const auto orNone = [](const std::string& text) { return text.empty() ? "none" : text; };
        return "sandbox: " + std::to_string(m_denied) + " of " + std::to_string(m_attempts) +
               " attempts denied; namespaces " + orNone(m_isolation.namespaces) + "; Landlock " +
               orNone(m_isolation.landlock > 0 ? std::to_string(m_isolation.landlock) : "");
    }

private:
    void noteAttack(std::string_view what, bool denied) {
        const int reason = errno;
        ++m_attempts;
        m_denied += denied ? 1 : 0;
        print(denied ? "denied: " : "POSSIBLE: ",
              std::string(what) + " (" + std::strerror(reason) + ")");
    }
    void noteNecessity(std::string_view what, bool works) {
        m_isAble = m_isAble && works;
        print(works ? "works: " : "BROKEN: ", std::string(what));
    }
    static void print(const char* result, const std::string& what) {
        std::fprintf(stderr, "%s%s\n", result, what.c_str());
    }

    Isolation m_isolation;
    int m_attempts = 0;
    int m_denied = 0;
    bool m_isAble = true;
};

} // namespace

int probe(Compiler& compiler, std::string_view device) {
    Prober prober;
    const Result<void> tried = prober.tryAll(compiler, device);
    if (!tried)
        std::fprintf(stderr, "BROKEN: %s\n", tried.error().message.c_str());
    std::fprintf(stderr, "%s\n", prober.summary().c_str());
    return tried && prober.isAsItShouldBe() ? 0 : 1;
}

} // namespace compute::service
