// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/SystemCalls.h"

#include "compute/protocol/Channel.h"

#include <seccomp.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <linux/futex.h>
#include <linux/membarrier.h>
#include <memory>
#include <sched.h>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <vector>

namespace compute::service {

using platform::Error;
using platform::Result;

namespace {

/// Everything that is not allowed fails with EPERM, so that library code that merely tries
/// something carries on. Calls of another processor mode end the process.
class Filter {
public:
    Filter() : m_context(seccomp_init(SCMP_ACT_ERRNO(EPERM)), seccomp_release) {
        if (m_context == nullptr)
            m_error = -ENOMEM;
    }

    void allow(int call) { add(SCMP_ACT_ALLOW, call, {}); }
    void allow(int call, const std::vector<scmp_arg_cmp>& conditions) {
        add(SCMP_ACT_ALLOW, call, conditions);
    }
    void fail(int call, int error) { add(SCMP_ACT_ERRNO(error), call, {}); }

    Result<void> load() {
        set(SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS);
        set(SCMP_FLTATR_CTL_TSYNC, 1);
        if (m_error == 0)
            m_error = seccomp_load(m_context.get());
        if (m_error != 0)
            return Error{std::string("Cannot load the system call filter: ") +
                         std::strerror(-m_error)};
        return {};
    }

private:
    void set(scmp_filter_attr attribute, std::uint32_t value) {
        if (m_error == 0)
            m_error = seccomp_attr_set(m_context.get(), attribute, value);
    }
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

// The system ignores the upper half of an argument that it takes for 32 bits. All conditions hold
// for 64, and all say what is allowed, so that nothing slips by in the upper half.

scmp_arg_cmp equals(unsigned argument, std::uint64_t value) {
    return {argument, SCMP_CMP_EQ, value, 0};
}

scmp_arg_cmp isDescriptor(unsigned argument, int descriptor) {
    return equals(argument, static_cast<std::uint64_t>(descriptor));
}

/// Besides the optional bits, which may be there, the argument is `value`.
scmp_arg_cmp flags(unsigned argument, std::uint64_t value, std::uint64_t optional) {
    return {argument, SCMP_CMP_MASKED_EQ, ~optional, value};
}

/// A descriptor that has come over the socket, or a standard one.
scmp_arg_cmp isOrdinary(unsigned argument) {
    return flags(argument, 0, descriptorLimit - 1);
}

void allowMemory(Filter& filter) {
    // Nothing becomes executable. All memory that can be read can be written as well, so that it
    // counts against the limit; shared memory is that of buffers and messages.
    constexpr std::uint64_t unimportant = MAP_NORESERVE | MAP_STACK | MAP_FIXED;
    for (const std::uint64_t rights : {PROT_NONE, PROT_READ | PROT_WRITE}) {
        filter.allow(SCMP_SYS(mmap),
                     {equals(2, rights), flags(3, MAP_PRIVATE | MAP_ANONYMOUS, unimportant)});
        filter.allow(SCMP_SYS(mprotect), {equals(2, rights)});
    }
    for (const std::uint64_t rights : {PROT_READ, PROT_READ | PROT_WRITE})
        filter.allow(SCMP_SYS(mmap),
                     {equals(2, rights), flags(3, MAP_SHARED, MAP_FIXED), isOrdinary(4)});
    filter.allow(SCMP_SYS(munmap));
    filter.allow(SCMP_SYS(brk));
    filter.allow(SCMP_SYS(madvise), {equals(2, MADV_DONTNEED)});
    filter.allow(SCMP_SYS(membarrier), {equals(0, MEMBARRIER_CMD_PRIVATE_EXPEDITED_SYNC_CORE)});
}

void allowThreads(Filter& filter) {
    // As the C library starts threads. The flags of clone3() cannot be seen from here; told that
    // it does not exist, the C library uses clone().
    filter.allow(SCMP_SYS(clone), {equals(0, CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND |
                                                 CLONE_THREAD | CLONE_SYSVSEM | CLONE_SETTLS |
                                                 CLONE_PARENT_SETTID | CLONE_CHILD_CLEARTID)});
    filter.fail(SCMP_SYS(clone3), ENOSYS);
    for (const std::uint64_t operation :
         {FUTEX_WAIT, FUTEX_WAKE, FUTEX_WAIT_BITSET, FUTEX_WAKE_BITSET})
        filter.allow(SCMP_SYS(futex),
                     {flags(1, operation, FUTEX_PRIVATE_FLAG | FUTEX_CLOCK_REALTIME)});
    for (const int call : {SCMP_SYS(set_robust_list), SCMP_SYS(rseq), SCMP_SYS(gettid),
                           SCMP_SYS(getpid), SCMP_SYS(sched_yield), SCMP_SYS(getcpu),
                           SCMP_SYS(exit), SCMP_SYS(exit_group), SCMP_SYS(restart_syscall)})
        filter.allow(call);
    filter.allow(SCMP_SYS(sched_getaffinity), {equals(0, 0)});
    // Reading one's own limits is how the C library learns the size of a stack.
    filter.allow(SCMP_SYS(prlimit64), {equals(0, 0), equals(2, 0)});
}

void allowSignalsAndTime(Filter& filter) {
    for (const int call : {SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigreturn),
                           SCMP_SYS(sigaltstack), SCMP_SYS(pause), SCMP_SYS(gettimeofday),
                           SCMP_SYS(nanosleep), SCMP_SYS(getrandom), SCMP_SYS(getrusage)})
        filter.allow(call);
    // Other numbers are the clocks of other processes and of devices.
    constexpr scmp_arg_cmp ownClock = {0, SCMP_CMP_LE, CLOCK_TAI, 0};
    for (const int call :
         {SCMP_SYS(clock_gettime), SCMP_SYS(clock_getres), SCMP_SYS(clock_nanosleep)})
        filter.allow(call, {ownClock});
    // The clocks of threads, by which compilations are limited; the system gives nobody those of
    // other processes. The lowest three bits tell the kind, and the number is negative.
    filter.allow(SCMP_SYS(clock_gettime), {flags(0, 0x80000006, ~std::uint64_t{0x80000007})});
    // Only to itself: abort() does this, and asking kernel threads where they stand.
    filter.allow(SCMP_SYS(tgkill), {equals(0, static_cast<std::uint64_t>(::getpid()))});
}

void allowDescriptors(Filter& filter, const Privileged& privileged) {
    filter.allow(SCMP_SYS(sendmsg),
                 {isDescriptor(0, protocol::serviceSocket), equals(2, MSG_NOSIGNAL)});
    filter.allow(SCMP_SYS(recvmsg), {isDescriptor(0, protocol::serviceSocket),
                                     flags(2, MSG_CMSG_CLOEXEC, MSG_DONTWAIT)});
    // Whether what has come is sealed and how large it is; its contents are mapped.
    filter.allow(SCMP_SYS(fcntl), {isOrdinary(0), equals(1, F_GET_SEALS)});
    filter.allow(SCMP_SYS(lseek), {isOrdinary(0), equals(1, 0), equals(2, SEEK_END)});
    filter.allow(SCMP_SYS(close), {isOrdinary(0)});
    filter.allow(SCMP_SYS(write), {isDescriptor(0, STDERR_FILENO)});
    filter.allow(SCMP_SYS(writev), {isDescriptor(0, STDERR_FILENO)});
    if (privileged.codeWriter >= 0)
        filter.allow(SCMP_SYS(pwrite64), {isDescriptor(0, privileged.codeWriter)});
}

/// Dumping is for people who debug the compiler, with programs of their own: the filter sees the
/// folder but not the path, so that a file can be replaced anywhere. None can be read.
void allowDumping(Filter& filter, int folder) {
    filter.allow(SCMP_SYS(openat),
                 {isDescriptor(0, folder), equals(2, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC)});
    filter.allow(SCMP_SYS(write)); // to descriptors that are not known yet
}

/// The first few numbers are nobody's but ours; that of the status page is free again when a driver
/// opens its first device.
template <class Condition>
std::vector<int> openDescriptors(const Condition& condition) {
    constexpr int first = protocol::serviceSocket + 1;
    constexpr int last = 1024;
    std::vector<int> found;
    for (int descriptor = first; descriptor < last; ++descriptor)
        if (condition(descriptor))
            found.push_back(descriptor);
    return found;
}

/// Whether it is a graphics device, which the driver has opened; what is not a device is a file
/// like any other.
bool isDevice(int descriptor) {
    constexpr unsigned memoryDevices = 1; // /dev/null, /dev/urandom and their like
    struct stat status{};
    return ::fstat(descriptor, &status) == 0 && S_ISCHR(status.st_mode) &&
           major(status.st_rdev) != memoryDevices;
}

/// Whether it is what Mesa's software driver has for the memory of its device.
bool isDriverMemory(int descriptor) {
    constexpr std::string_view wanted = "/memfd:allocation fd";
    std::array<char, wanted.size()> name{};
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t length = ::readlink(path.c_str(), name.data(), name.size());
    return length >= 0 && std::string_view(name.data(), static_cast<std::size_t>(length)) == wanted;
}

void allowMapping(Filter& filter, int descriptor) {
    for (const std::uint64_t rights : {PROT_READ, PROT_WRITE, PROT_READ | PROT_WRITE})
        filter.allow(SCMP_SYS(mmap), {equals(2, rights), flags(3, MAP_SHARED, MAP_FIXED),
                                      isDescriptor(4, descriptor)});
}

/// A driver has opened its files before, and gets no others. What it asks its device for is between
/// the two: the filter sees the device, but not the request.
void allowDriver(Filter& filter) {
    for (const int device : openDescriptors(isDevice)) {
        filter.allow(SCMP_SYS(ioctl), {isDescriptor(0, device)});
        allowMapping(filter, device);
    }
    filter.allow(SCMP_SYS(poll));
    filter.allow(SCMP_SYS(ppoll));
}

/// Its machine code lies in ordinary memory, so with it, code can be made of data. It is for tests.
/// Since 24 all memory that it makes for buffers lies in one file that is in no folder and grows
/// with each of them, up to the limit for files.
void allowSoftwareDriver(Filter& filter) {
    for (const std::uint64_t rights : {PROT_READ, PROT_READ | PROT_EXEC})
        filter.allow(SCMP_SYS(mprotect), {equals(2, rights)});
    for (const int memory : openDescriptors(isDriverMemory)) {
        filter.allow(SCMP_SYS(ftruncate), {isDescriptor(0, memory)});
        allowMapping(filter, memory);
    }
}

} // namespace

Result<void> filterSystemCalls(const Privileged& privileged) {
    Filter filter;
    allowMemory(filter);
    allowThreads(filter);
    allowSignalsAndTime(filter);
    allowDescriptors(filter, privileged);
    if (privileged.dumpFolder >= 0)
        allowDumping(filter, privileged.dumpFolder);
    if (privileged.driver != Driver::None)
        allowDriver(filter);
    if (privileged.driver == Driver::Software)
        allowSoftwareDriver(filter);
    return filter.load();
}

} // namespace compute::service
