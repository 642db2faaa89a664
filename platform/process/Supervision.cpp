// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/process/Supervision.h"

#include "platform/base/Fatal.h"
#include "platform/base/FileDescriptor.h"

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>
#include <span>
#include <vector>

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t mostDeaths = 3;
constexpr std::chrono::minutes deathsCountFor{1};

/// By which somebody asks for the end.
constexpr std::array requests{SIGHUP, SIGINT, SIGTERM, SIGQUIT};

sigset_t setOfRequests() {
    sigset_t set;
    ::sigemptyset(&set);
    for (const int request : requests)
        ::sigaddset(&set, request);
    return set;
}

} // namespace

// Written by a process that may die at any moment: of the two slots, the one that is not valid is
// filled, and then becomes it.
struct Supervised::Estate {
    struct Slot {
        std::size_t length = 0;
        std::array<char, std::size_t{64} << 10> bytes{};
    };
    std::array<Slot, 2> slots;
    std::atomic<std::uint32_t> valid = 0;
    std::atomic<bool> hasStarted = false;
    std::array<char, 1024> fatalMessage{}; ///< ends with a zero
};

void Supervised::bequeath(std::string_view bytes) {
    if (!m_estate || bytes.size() > m_estate->slots[0].bytes.size())
        return;
    const std::uint32_t next = 1 - m_estate->valid;
    m_estate->slots[next].length = bytes.size();
    std::ranges::copy(bytes, m_estate->slots[next].bytes.begin());
    m_estate->valid = next;
}

void Supervised::hasStarted() {
    if (m_estate)
        m_estate->hasStarted = true;
}

class Supervisor {
public:
    Supervisor(Supervised::Estate& estate, const std::function<int(Supervised&)>& work)
        : m_estate(estate), m_work(work), m_requests(setOfRequests()) {
        ::sigprocmask(SIG_BLOCK, &m_requests, &m_oldSignals);
        m_signals = FileDescriptor(::signalfd(-1, &m_requests, SFD_CLOEXEC));
    }

    int run() {
        while (true) {
            m_estate.hasStarted = false;
            m_estate.fatalMessage[0] = '\0';
            const pid_t supervisor = ::getpid();
            m_child = ::fork();
            if (m_child <= 0)
                return workHere(m_child == 0 ? supervisor : 0);
            const siginfo_t end = waitForEnd();
            if (end.si_code == CLD_EXITED)
                return end.si_status;
            if (!mayStartAgain(end.si_status))
                return endLike(end.si_status);
        }
    }

private:
    /// Without a supervisor when there can be no second process.
    int workHere(pid_t supervisor) {
        m_signals.reset();
        ::sigprocmask(SIG_SETMASK, &m_oldSignals, nullptr);
        if (supervisor != 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGTERM);
            if (::getppid() != supervisor)
                return EXIT_FAILURE;
        }
        keepFatalMessageIn(m_estate.fatalMessage);
        Supervised self;
        self.m_estate = &m_estate;
        self.m_recentDeaths = static_cast<int>(m_deaths.size());
        self.m_reason = m_reason;
        const Supervised::Estate::Slot& slot = m_estate.slots[m_estate.valid];
        self.m_inheritance.assign(slot.bytes.data(), std::min(slot.length, slot.bytes.size()));
        return m_work(self);
    }

    siginfo_t waitForEnd() {
        const FileDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, m_child, 0)));
        std::array<pollfd, 2> events{{{process.get(), POLLIN, 0}, {m_signals.get(), POLLIN, 0}}};
        while (process && events[0].revents == 0) {
            if (::poll(events.data(), events.size(), -1) > 0 && events[1].revents != 0)
                passRequestOn();
        }
        siginfo_t end{};
        while (::waitid(P_PID, static_cast<id_t>(m_child), &end, WEXITED) != 0 && errno == EINTR) {
        }
        return end;
    }

    // A terminal sends its signals to both; the second one then finds nobody.
    void passRequestOn() {
        signalfd_siginfo request{};
        if (::read(m_signals.get(), &request, sizeof request) == sizeof request)
            ::kill(m_child, static_cast<int>(request.ssi_signo));
        ::kill(m_child, SIGCONT); // or somebody who was stopped would not hear of it
    }

    bool mayStartAgain(int signal) {
        const bool requested = std::ranges::find(requests, signal) != requests.end();
        if (requested)
            return false;
        m_estate.fatalMessage.back() = '\0';
        m_reason = m_estate.fatalMessage.data();
        if (m_reason.empty())
            m_reason = ::strsignal(signal);
        std::fprintf(stderr, "The process of the window has ended: %s\n", m_reason.c_str());
        const auto now = Clock::now();
        std::erase_if(m_deaths, [now](auto death) { return death < now - deathsCountFor; });
        m_deaths.push_back(now);
        return m_estate.hasStarted && m_deaths.size() <= mostDeaths;
    }

    /// So that whoever waits for this process, such as a shell, hears the truth.
    int endLike(int signal) {
        if (std::ranges::find(requests, signal) != requests.end()) {
            ::sigprocmask(SIG_SETMASK, &m_oldSignals, nullptr);
            ::raise(signal);
        }
        return 128 + signal;
    }

    Supervised::Estate& m_estate;
    const std::function<int(Supervised&)>& m_work;
    sigset_t m_requests{};
    sigset_t m_oldSignals{};
    FileDescriptor m_signals;
    pid_t m_child = 0;
    std::vector<Clock::time_point> m_deaths;
    std::string m_reason;
};

int supervise(const std::function<int(Supervised&)>& work) {
    void* memory = ::mmap(nullptr, sizeof(Supervised::Estate), PROT_READ | PROT_WRITE,
                          MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        Supervised alone;
        return work(alone);
    }
    return Supervisor(*new (memory) Supervised::Estate, work).run();
}

} // namespace platform
