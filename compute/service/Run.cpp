// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Run.h"

#include "compute/host/code/CodeArena.h"
#include "compute/service/FaultReport.h"
#include "compute/service/Isolation.h"
#include "compute/service/Probe.h"
#include "compute/service/Sandbox.h"
#include "compute/service/Server.h"
#include "compute/workers/Workers.h"

#include <cstdio>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace compute::service {

using platform::Error;
using platform::FileDescriptor;
using platform::Result;

namespace {

constexpr std::string_view hostDevice = "host";

Result<protocol::StatusPage*> mapStatusPage() {
    const FileDescriptor descriptor(protocol::serviceStatusPage);
    void* mapping = MAP_FAILED;
    if (::lseek(descriptor.get(), 0, SEEK_END) >= static_cast<off_t>(protocol::statusPageBytes))
        mapping = ::mmap(nullptr, protocol::statusPageBytes, PROT_READ | PROT_WRITE, MAP_SHARED,
                         descriptor.get(), 0);
    if (mapping == MAP_FAILED)
        return Error{"This program is started by the console, not by hand"};
    return static_cast<protocol::StatusPage*>(mapping);
}

Files filesFor(std::string_view device, bool dumps) {
    if (dumps)
        return Files::All;
    return device == hostDevice ? Files::None : Files::OfDrivers;
}

/// With a driver, threads begin that nobody can be told of.
void prepareFor(const Device& device) {
    if (device.driver() != Driver::None)
        takeUnknownThreadsForKernels(device);
}

Result<std::unique_ptr<Server>> warmUpAndLockDown(protocol::Channel& channel, Compiler& compiler,
                                                  std::string_view device) {
    SL42_TRY_VOID(detachFromSurroundings());
    protocol::StatusPage* page = SL42_TRY(mapStatusPage());
    const host::CodeArena* arena = SL42_TRY(host::CodeArena::ofProcess());
    compiler.openFiles();
    isolate(filesFor(device, compiler.dumpFolder() >= 0));
    workers::start(markThisThreadAsKernels);
    if (device != hostDevice)
        SL42_TRY_VOID(compiler.openDevice(device));
    compiler.warmUp();
    const Driver driver = compiler.device().driver();
    prepareFor(compiler.device());
    reportFaultsTo(*page); // late, since the compiler's libraries install handlers of their own
    auto server = SL42_TRY(Server::create(channel, compiler, *page));
    SL42_TRY_VOID(lockDown(
        {.codeWriter = arena->writer(), .dumpFolder = compiler.dumpFolder(), .driver = driver}));
    return server;
}

/// Without destructors: kernels may be running, and nothing of them is worth waiting for. Nor could
/// what else happens at the end of a process be done behind the lock-down.
[[noreturn]] void end(int status) {
    std::fflush(stderr);
    ::_exit(status);
}

[[noreturn]] void end(const Result<void>& result) {
    if (!result)
        std::fprintf(stderr, "starloom-compute: %s\n", result.error().message.c_str());
    end(result ? 0 : 1);
}

} // namespace

int run(int argumentCount, char** arguments, Compiler& compiler) {
    const std::vector<std::string_view> words(arguments + 1, arguments + argumentCount);
    if (!words.empty() && words[0] == "--probe")
        end(probe(compiler, words.size() > 1 ? words[1] : std::string_view()));
    const std::string_view device =
        words.size() == 2 && words[0] == "--device" ? words[1] : hostDevice;
    protocol::Channel channel{FileDescriptor(protocol::serviceSocket)};
    const auto server = warmUpAndLockDown(channel, compiler, device);
    if (!server)
        end(server.error());
    end((*server)->serve());
}

} // namespace compute::service
