// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Sandbox.h"

#include "compute/protocol/Channel.h"

#include <seccomp.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sched.h>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace compute::service {

using platform::Error;
using platform::Result;

namespace {

constexpr int highestInherited = protocol::serviceStatusPage;
// Generous for a compiler at work on a large program, far from what hurts the desktop. Buffers do
// not count, and the address space stays free for the guards around them.
constexpr rlim_t maxDataBytes = rlim_t{4} << 30;
constexpr rlim_t maxDescriptors = 32;

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

Error failed(const std::string& what, int error) {
    return Error{"Cannot " + what + ": " + std::strerror(error)};
}

Result<void> limitResource(__rlimit_resource resource, rlim_t value) {
    rlimit limit{};
    if (::getrlimit(resource, &limit) != 0)
        return failed("read a resource limit", errno);
    limit.rlim_cur = limit.rlim_max = std::min(value, limit.rlim_max);
    if (::setrlimit(resource, &limit) != 0)
        return failed("set a resource limit", errno);
    return {};
}

/// Builds the list of permitted system calls. Everything else fails with EPERM, so that library
/// code that merely tries something carries on.
class Filter {
public:
    Filter() : m_context(seccomp_init(SCMP_ACT_ERRNO(EPERM)), seccomp_release) {
        if (m_context == nullptr)
            m_error = -ENOMEM;
    }

    void allow(int call) { add(SCMP_ACT_ALLOW, call, {}); }
    void allow(int call, std::vector<scmp_arg_cmp> conditions) {
        add(SCMP_ACT_ALLOW, call, conditions);
    }
    void fail(int call, int error) { add(SCMP_ACT_ERRNO(error), call, {}); }

    /// Applies to all threads and to those that they will start. Sets no_new_privs too.
    Result<void> load() {
        if (m_error == 0)
            m_error = seccomp_attr_set(m_context.get(), SCMP_FLTATR_CTL_TSYNC, 1);
        if (m_error == 0)
            m_error = seccomp_load(m_context.get());
        if (m_error != 0)
            return failed("load the system call filter", -m_error);
        return {};
    }

private:
    void add(std::uint32_t action, int call, const std::vector<scmp_arg_cmp>& conditions) {
        // Calls that this processor's system does not have need no rule.
        if (m_error == 0 && call >= 0)
            m_error =
                seccomp_rule_add_array(m_context.get(), action, call,
                                       static_cast<unsigned>(conditions.size()), conditions.data());
    }

    std::unique_ptr<void, decltype(&seccomp_release)> m_context;
    int m_error = 0;
};

scmp_arg_cmp equals(unsigned argument, std::uint64_t value) {
    return {argument, SCMP_CMP_EQ, value, 0};
}

/// The bits of `mask` in the argument are exactly `value`.
scmp_arg_cmp bits(unsigned argument, std::uint64_t mask, std::uint64_t value) {
    return {argument, SCMP_CMP_MASKED_EQ, mask, value};
}

void allowMemory(Filter& filter) {
    // Never writable and executable at once, and never executable from a file or a buffer.
    filter.allow(SCMP_SYS(mmap), {bits(2, PROT_EXEC, 0)});
    filter.allow(SCMP_SYS(mmap), {bits(2, PROT_EXEC | PROT_WRITE, PROT_EXEC),
                                  bits(3, MAP_ANONYMOUS, MAP_ANONYMOUS)});
    filter.allow(SCMP_SYS(mprotect), {bits(2, PROT_EXEC, 0)});
    filter.allow(SCMP_SYS(mprotect), {bits(2, PROT_EXEC | PROT_WRITE, PROT_EXEC)});
    for (const int call : {SCMP_SYS(munmap), SCMP_SYS(mremap), SCMP_SYS(madvise), SCMP_SYS(brk),
                           SCMP_SYS(membarrier)})
        filter.allow(call);
}

void allowThreads(Filter& filter) {
    // clone() is for threads alone. The flags of clone3() cannot be seen from here; told that it
    // does not exist, the C library uses clone().
    filter.allow(SCMP_SYS(clone), {bits(0, CLONE_THREAD | CLONE_VM, CLONE_THREAD | CLONE_VM)});
    filter.fail(SCMP_SYS(clone3), ENOSYS);
    for (const int call :
         {SCMP_SYS(futex), SCMP_SYS(set_robust_list), SCMP_SYS(rseq), SCMP_SYS(gettid),
          SCMP_SYS(getpid), SCMP_SYS(sched_yield), SCMP_SYS(sched_getaffinity), SCMP_SYS(getcpu),
          SCMP_SYS(exit), SCMP_SYS(exit_group), SCMP_SYS(restart_syscall)})
        filter.allow(call);
    filter.allow(SCMP_SYS(prctl), {equals(0, PR_SET_NAME)});
    // Reading one's own limits is how the C library learns the size of a stack.
    filter.allow(SCMP_SYS(prlimit64), {equals(0, 0), equals(2, 0)});
}

void allowSignalsAndTime(Filter& filter) {
    for (const int call : {SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigreturn),
                           SCMP_SYS(sigaltstack), SCMP_SYS(pause), SCMP_SYS(clock_gettime),
                           SCMP_SYS(clock_getres), SCMP_SYS(gettimeofday), SCMP_SYS(nanosleep),
                           SCMP_SYS(clock_nanosleep), SCMP_SYS(getrandom), SCMP_SYS(getrusage)})
        filter.allow(call);
    // Only to itself: abort() does this, and asking kernel threads where they stand.
    filter.allow(SCMP_SYS(tgkill), {equals(0, static_cast<std::uint64_t>(::getpid()))});
}

void allowDescriptors(Filter& filter) {
    for (const int call : {SCMP_SYS(recvmsg), SCMP_SYS(sendmsg), SCMP_SYS(read), SCMP_SYS(close),
                           SCMP_SYS(lseek), SCMP_SYS(fcntl), SCMP_SYS(fstat)})
        filter.allow(call);
    filter.allow(SCMP_SYS(write), {equals(0, STDERR_FILENO)});
    filter.allow(SCMP_SYS(writev), {equals(0, STDERR_FILENO)});
}

/// Dumping is for people who debug the compiler, with programs of their own: the filter sees the
/// folder but not the path, so that a file can be replaced anywhere. None can be read.
void allowDumping(Filter& filter, int folder) {
    filter.allow(SCMP_SYS(openat), {equals(0, static_cast<std::uint64_t>(folder)),
                                    equals(2, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC)});
    filter.allow(SCMP_SYS(write)); // to descriptors that are not known yet
}

} // namespace

Result<void> detachFromSurroundings() {
    const pid_t console = ::getppid();
    if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0)
        return failed("bind the process to its console", errno);
    // It may have gone in the meantime.
    if (::getppid() != console)
        return Error{"The console is gone"};
    if (::close_range(highestInherited + 1, ~0u, 0) != 0)
        return failed("close inherited files", errno);
    return {};
}

Result<void> lockDown(int dumpFolder) {
    if (::prctl(PR_SET_DUMPABLE, 0) != 0)
        return failed("hide the process's memory", errno);
    SL42_TRY_VOID(limitResource(RLIMIT_CORE, 0));
    SL42_TRY_VOID(limitResource(RLIMIT_NOFILE, maxDescriptors));
    if (limitsData)
        SL42_TRY_VOID(limitResource(RLIMIT_DATA, maxDataBytes));
    Filter filter;
    allowMemory(filter);
    allowThreads(filter);
    allowSignalsAndTime(filter);
    allowDescriptors(filter);
    if (dumpFolder >= 0)
        allowDumping(filter, dumpFolder);
    return filter.load();
}

} // namespace compute::service
