// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Sandbox.h"

#include "compute/protocol/Channel.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace compute::service {

using platform::Error;
using platform::FileDescriptor;
using platform::Result;

namespace {

constexpr int highestInherited = protocol::serviceStatusPage;
// Generous for a compiler at work on a large program, far from what hurts the desktop. A third of
// it are the stacks of the threads that compile, next to nothing of which is ever used. Buffers do
// not count, nor do the addresses that are kept free around them.
constexpr rlim_t maxDataBytes = rlim_t{4} << 30;
constexpr rlim_t maxStackBytes = rlim_t{64} << 20;

// Sanitizers map terabytes of shadow memory, which such a limit would count.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SL42_SHADOW_MEMORY 1
#endif
#endif
#ifdef SL42_SHADOW_MEMORY
constexpr bool limitsData = false;
#else
constexpr bool limitsData = true;
#endif

Error failed(const std::string& what) {
    return Error{"Cannot " + what + ": " + std::strerror(errno)};
}

Result<void> limitResource(__rlimit_resource resource, rlim_t value) {
    rlimit limit{};
    if (::getrlimit(resource, &limit) != 0)
        return failed("read a resource limit");
    limit.rlim_cur = limit.rlim_max = std::min(value, limit.rlim_max);
    if (::setrlimit(resource, &limit) != 0)
        return failed("set a resource limit");
    return {};
}

/// When memory runs out, the system ends somebody. That had better be who can be started again.
void volunteerForShortages() {
    const FileDescriptor file(::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC));
    constexpr std::string_view points = "500";
    if (file)
        (void)!::write(file.get(), points.data(), points.size());
}

} // namespace

Result<void> detachFromSurroundings() {
    const pid_t console = ::getppid();
    if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0)
        return failed("bind the process to its console");
    // It may have gone in the meantime. In a namespace of its own the process does not see that,
    // but then the socket is closed, too, and nothing is running yet.
    if (::getppid() != console)
        return Error{"The console is gone"};
    if (::close_range(highestInherited + 1, ~0u, 0) != 0)
        return failed("close inherited files");
    volunteerForShortages();
    return {};
}

bool limitsMemory() {
    return limitsData;
}

Result<void> lockDown(const Privileged& privileged) {
    if (::prctl(PR_SET_DUMPABLE, 0) != 0)
        return failed("hide the process's memory");
    SL42_TRY_VOID(limitResource(RLIMIT_CORE, 0));
    SL42_TRY_VOID(limitResource(RLIMIT_NOFILE, descriptorLimit));
    SL42_TRY_VOID(limitResource(RLIMIT_STACK, maxStackBytes));
    if (limitsMemory())
        SL42_TRY_VOID(limitResource(RLIMIT_DATA, maxDataBytes));
    // So much memory is in a file that a driver may have for it.
    SL42_TRY_VOID(limitResource(RLIMIT_FSIZE, maxDataBytes));
    return filterSystemCalls(privileged);
}

} // namespace compute::service
