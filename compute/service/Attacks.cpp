// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Attacks.h"

#include "compute/host/code/CodeArena.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <linux/futex.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/personality.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace compute::service {

namespace {

using T = Target;

constexpr std::size_t pageBytes = 4096;
constexpr std::size_t gibibyte = std::size_t{1} << 30;
constexpr int run = PROT_READ | PROT_EXEC;
constexpr int write = PROT_READ | PROT_WRITE;
constexpr int privately = MAP_PRIVATE | MAP_ANONYMOUS;

/// Without the C library, which may think better of it.
template <class... A>
long call(long number, A... arguments) {
    return ::syscall(number, arguments...);
}

long map(std::size_t bytes, int rights, int flags, std::int64_t descriptor = -1) {
    return call(SYS_mmap, nullptr, bytes, rights, flags, descriptor, 0);
}

/// The system sees the same number where it takes the argument for 32 bits.
std::int64_t inUpperHalf(std::int64_t number) {
    return number | std::int64_t{1} << 32;
}

/// In a new process there is nothing more to prove.
long endChild(long process) {
    if (process == 0)
        ::_exit(0);
    return process;
}

long connectTo(int socket, std::uint32_t address) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(53);
    place.sin_addr.s_addr = htonl(address);
    return ::connect(socket, reinterpret_cast<const sockaddr*>(&place), sizeof place);
}

long sendDescriptor(int socket, int descriptor) {
    char byte = 0;
    iovec part{&byte, 1};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr packet{};
    packet.msg_iov = &part;
    packet.msg_iovlen = 1;
    packet.msg_control = control.data();
    packet.msg_controllen = control.size();
    cmsghdr* header = CMSG_FIRSTHDR(&packet);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    return ::sendmsg(socket, &packet, MSG_NOSIGNAL);
}

constexpr Attack attackList[] = {
    // Files
    {"open a file", [](const T& t) -> long { return ::open(t.file, O_RDONLY); }},
    {"open a file by another call",
     [](const T& t) -> long { return call(SYS_open, t.file, O_RDONLY); }},
    {"create a file",
     [](const T&) -> long { return ::open("/tmp/starloom-probe", O_CREAT | O_WRONLY, 0600); }},
    {"read a file by way of the folder for dumps",
     [](const T& t) -> long { return ::openat(t.folder, "etc/passwd", O_RDONLY); }},
    {"change a file by way of the folder for dumps",
     [](const T& t) -> long {
         return ::openat(t.folder, "tmp/starloom-probe", O_RDWR | O_CREAT, 0600);
     }},
    {"look for a file", [](const T& t) -> long { return ::access(t.file, R_OK); }},
    {"ask about a file",
     [](const T& t) -> long {
         struct stat status{};
         return ::stat(t.file, &status);
     }},
    {"delete a file", [](const T&) -> long { return ::unlink("/tmp/starloom-probe"); }},
    {"list processes", [](const T&) -> long { return ::open("/proc", O_DIRECTORY); }},
    {"write to own memory by way of a file",
     [](const T&) -> long { return ::open("/proc/self/mem", O_RDWR); }},
    {"list a folder",
     [](const T& t) -> long {
         std::array<char, 512> entries{};
         return call(SYS_getdents64, t.folder, entries.data(), entries.size());
     }},
    {"change the root", [](const T&) -> long { return ::chroot("/"); }},
    {"mount",
     [](const T&) -> long { return call(SYS_mount, nullptr, nullptr, nullptr, 0, nullptr); }},

    // Network
    {"make a network socket", [](const T&) -> long { return ::socket(AF_INET, SOCK_STREAM, 0); }},
    {"make a local socket", [](const T&) -> long { return ::socket(AF_UNIX, SOCK_STREAM, 0); }},
    {"make a pair of sockets",
     [](const T&) -> long {
         int ends[2];
         return ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends);
     }},
    {"connect", [](const T& t) -> long { return connectTo(t.socket, INADDR_LOOPBACK); }},
    {"listen", [](const T& t) -> long { return ::listen(t.socket, 1); }},
    {"send over another socket",
     [](const T& t) -> long { return sendDescriptor(t.socket, t.memory); }},
    {"send to an address",
     [](const T& t) -> long { return ::sendto(t.socket, "", 1, MSG_NOSIGNAL, nullptr, 0); }},
    {"receive from another socket",
     [](const T& t) -> long {
         msghdr packet{};
         return ::recvmsg(t.socket, &packet, MSG_CMSG_CLOEXEC | MSG_DONTWAIT);
     }},

    // Programs and processes
    {"start a program",
     [](const T&) -> long {
         char* const arguments[] = {nullptr};
         return ::execve("/bin/true", arguments, arguments);
     }},
    {"execute a memory object",
     [](const T& t) -> long {
         char* const arguments[] = {nullptr};
         return call(SYS_execveat, t.memory, "", arguments, arguments, AT_EMPTY_PATH);
     }},
    {"fork", [](const T&) -> long { return endChild(::fork()); }},
    {"clone a process",
     [](const T&) -> long {
         return endChild(call(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, 0));
     }},
    {"clone a thread into a namespace",
     [](const T&) -> long {
         constexpr unsigned long flags = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND |
                                         CLONE_THREAD | CLONE_SYSVSEM | CLONE_NEWNET;
         return endChild(call(SYS_clone, flags, nullptr, nullptr, nullptr, 0));
     }},
    {"clone by a call whose flags cannot be seen",
     [](const T&) -> long {
         std::array<std::uint64_t, 8> arguments{};
         arguments[4] = SIGCHLD;
         return endChild(call(SYS_clone3, arguments.data(), sizeof arguments));
     },
     ENOSYS},
    {"enter a user namespace", [](const T&) -> long { return ::unshare(CLONE_NEWUSER); }},
    {"enter the namespace of another process",
     [](const T& t) -> long { return ::setns(t.victimHandle, CLONE_NEWUSER); }},
    {"trace a process", [](const T& t) -> long { return ::ptrace(PTRACE_ATTACH, t.victim, 0, 0); }},
    {"be traced", [](const T&) -> long { return ::ptrace(PTRACE_TRACEME, 0, 0, 0); }},
    {"read another process's memory",
     [](const T& t) -> long {
         char byte = 0;
         const iovec mine{&byte, 1};
         const iovec theirs{t.page, 1};
         return ::process_vm_readv(t.victim, &mine, 1, &theirs, 1, 0);
     }},
    {"write another process's memory",
     [](const T& t) -> long {
         char byte = 0;
         const iovec mine{&byte, 1};
         const iovec theirs{t.page, 1};
         return ::process_vm_writev(t.victim, &mine, 1, &theirs, 1, 0);
     }},

    // Signals to others
    {"kill a process", [](const T& t) -> long { return ::kill(t.victim, SIGKILL); }},
    {"kill a thread of it",
     [](const T& t) -> long { return call(SYS_tgkill, t.victim, t.victim, SIGKILL); }},
    {"kill a thread without its process",
     [](const T& t) -> long { return call(SYS_tkill, t.victim, SIGKILL); }},
    {"kill with a message",
     [](const T& t) -> long {
         siginfo_t info{};
         info.si_code = SI_QUEUE;
         return call(SYS_rt_sigqueueinfo, t.victim, SIGKILL, &info);
     }},
    {"kill a thread with a message",
     [](const T& t) -> long {
         siginfo_t info{};
         info.si_code = SI_QUEUE;
         return call(SYS_rt_tgsigqueueinfo, t.victim, t.victim, SIGKILL, &info);
     }},
    {"take a handle of a process",
     [](const T& t) -> long { return call(SYS_pidfd_open, t.victim, 0); }},
    {"kill by a handle",
     [](const T& t) -> long {
         return call(SYS_pidfd_send_signal, t.victimHandle, SIGKILL, nullptr, 0);
     }},
    {"have input signal a process",
     [](const T& t) -> long { return call(SYS_fcntl, t.socket, F_SETOWN, t.victim); }},
    {"have input signal a process, by another command",
     [](const T& t) -> long {
         const f_owner_ex owner{F_OWNER_PID, t.victim};
         return call(SYS_fcntl, t.socket, F_SETOWN_EX, &owner);
     }},
    {"choose the signal of input",
     [](const T& t) -> long { return call(SYS_fcntl, t.socket, F_SETSIG, SIGKILL); }},
    {"switch signals of input on",
     [](const T& t) -> long { return call(SYS_fcntl, t.socket, F_SETFL, O_ASYNC | O_RDWR); }},
    {"have input signal a process, as a device",
     [](const T& t) -> long { return call(SYS_ioctl, t.socket, FIOSETOWN, &t.victim); }},
    {"have input signal a process, as a socket",
     [](const T& t) -> long { return call(SYS_ioctl, t.socket, SIOCSPGRP, &t.victim); }},
    {"switch signals of input on, as a device",
     [](const T& t) -> long {
         const int on = 1;
         return call(SYS_ioctl, t.socket, FIOASYNC, &on);
     }},
    {"be told of changes by signals",
     [](const T& t) -> long { return call(SYS_fcntl, t.folder, F_NOTIFY, 1); }},
    {"have a timer signal",
     [](const T&) -> long {
         sigevent event{};
         event.sigev_notify = SIGEV_SIGNAL;
         event.sigev_signo = SIGKILL;
         int timer = 0;
         return call(SYS_timer_create, CLOCK_MONOTONIC, &event, &timer);
     }},
    {"have a message queue signal",
     [](const T&) -> long { return call(SYS_mq_notify, 0, nullptr); }},
    {"slow another process down",
     [](const T& t) -> long {
         return ::setpriority(PRIO_PROCESS, static_cast<id_t>(t.victim), 19);
     }},
    {"move another process to one core",
     [](const T& t) -> long {
         cpu_set_t cores;
         CPU_ZERO(&cores);
         CPU_SET(0, &cores);
         return ::sched_setaffinity(t.victim, sizeof cores, &cores);
     }},
    {"look where another process may run",
     [](const T& t) -> long {
         cpu_set_t cores;
         return ::sched_getaffinity(t.victim, sizeof cores, &cores);
     }},
    {"read the clock of another process",
     [](const T& t) -> long {
         timespec time{};
         return call(SYS_clock_gettime, static_cast<clockid_t>(~t.victim << 3 | 2), &time);
     }},
    {"limit another process",
     [](const T& t) -> long {
         const rlimit limit{0, 0};
         return call(SYS_prlimit64, t.victim, RLIMIT_CPU, &limit, nullptr);
     }},
    {"read the limits of another process",
     [](const T& t) -> long {
         rlimit limit{};
         return call(SYS_prlimit64, t.victim, RLIMIT_CPU, nullptr, &limit);
     }},

    // The terminal
    {"type into the terminal",
     [](const T&) -> long {
         const char key = '\n';
         return call(SYS_ioctl, STDERR_FILENO, TIOCSTI, &key);
     }},
    {"make standard error wait",
     [](const T&) -> long { return call(SYS_fcntl, STDERR_FILENO, F_SETFL, 0); }},

    // Descriptors
    {"double a descriptor", [](const T& t) -> long { return ::dup(t.codeWriter); }},
    {"put a descriptor in the place of another",
     [](const T& t) -> long { return ::dup2(t.memory, t.codeWriter); }},
    {"double a descriptor by a command",
     [](const T& t) -> long { return call(SYS_fcntl, t.codeWriter, F_DUPFD, 0); }},
    {"close the memory for machine code",
     [](const T& t) -> long { return call(SYS_close, t.codeWriter); }},
    {"close it by its lower half",
     [](const T& t) -> long { return call(SYS_close, inUpperHalf(t.codeWriter)); }},
    {"close it among others",
     [](const T& t) -> long { return call(SYS_close_range, t.codeWriter, t.codeWriter, 0); }},
    {"seal a buffer",
     [](const T& t) -> long { return call(SYS_fcntl, t.memory, F_ADD_SEALS, F_SEAL_WRITE); }},
    {"make a pipe",
     [](const T&) -> long {
         int ends[2];
         return ::pipe2(ends, 0);
     }},
    {"read from a descriptor",
     [](const T& t) -> long {
         char byte = 0;
         return ::read(t.memory, &byte, 1);
     }},
    {"write somewhere else than machine code",
     [](const T& t) -> long { return ::pwrite(t.memory, "", 1, 0); }},

    // Machine code
    {"run a buffer as code",
     [](const T& t) -> long { return map(pageBytes, run, MAP_SHARED, t.memory); }},
    {"run a copy of a buffer as code",
     [](const T& t) -> long { return map(pageBytes, run, MAP_PRIVATE, t.memory); }},
    {"run a mapped buffer as code",
     [](const T& t) -> long { return ::mprotect(t.buffer, pageBytes, run); }, EPERM, true},
    {"run memory as code", [](const T& t) -> long { return ::mprotect(t.page, pageBytes, run); },
     EPERM, true},
    {"run memory as code, with a key",
     [](const T& t) -> long { return call(SYS_pkey_mprotect, t.page, pageBytes, run, -1); }},
    {"run all memory below as code",
     [](const T& t) -> long { return ::mprotect(t.page, pageBytes, run | PROT_GROWSDOWN); }},
    {"map memory to run", [](const T&) -> long { return map(pageBytes, run, privately); }},
    {"map memory to write and run",
     [](const T&) -> long { return map(pageBytes, write | PROT_EXEC, privately); }},
    {"make memory both writable and executable",
     [](const T& t) -> long { return ::mprotect(t.page, pageBytes, write | PROT_EXEC); }},
    {"have all that is readable run",
     [](const T&) -> long { return ::personality(READ_IMPLIES_EXEC); }},
    {"map machine code to write",
     [](const T& t) -> long { return map(pageBytes, write, MAP_SHARED, t.codeWriter); }},
    {"map machine code to write, by its lower half",
     [](const T& t) -> long {
         return map(pageBytes, write, MAP_SHARED, inUpperHalf(t.codeWriter));
     }},
    {"map machine code to run once more",
     [](const T& t) -> long { return map(pageBytes, run, MAP_SHARED, t.codeWriter); }},
    {"make machine code writable",
     [](const T& t) -> long { return ::mprotect(t.code, pageBytes, write); }, EACCES},
    {"make machine code larger",
     [](const T& t) -> long { return ::ftruncate(t.codeWriter, std::int64_t{1} << 40); }},
    {"take memory away from machine code",
     [](const T& t) -> long { return call(SYS_fallocate, t.codeWriter, 3, 0, pageBytes); }},
    {"move a buffer over machine code",
     [](const T& t) -> long {
         return call(SYS_mremap, t.buffer, pageBytes, pageBytes, MREMAP_FIXED | MREMAP_MAYMOVE,
                     t.code);
     }},
    {"map a buffer twice by moving it",
     [](const T& t) -> long {
         return call(SYS_mremap, t.buffer, 0, pageBytes, MREMAP_MAYMOVE, nullptr);
     }},
    {"change the order of a mapping",
     [](const T& t) -> long { return call(SYS_remap_file_pages, t.buffer, pageBytes, 0, 0, 0); }},
    {"handle faults of memory by itself",
     [](const T&) -> long { return call(SYS_userfaultfd, O_CLOEXEC); }},
    {"change segments of the processor",
     [](const T& t) -> long { return call(SYS_modify_ldt, 0, t.page, 16); }},

    // Memory
    {"make a memory object", [](const T&) -> long { return ::memfd_create("probe", MFD_CLOEXEC); }},
    {"make shared memory", [](const T&) -> long { return call(SYS_shmget, 0, pageBytes, 0600); }},
    {"map shared memory of nobody",
     [](const T&) -> long { return map(pageBytes, write, MAP_SHARED | MAP_ANONYMOUS); }},
    {"map a copy of a buffer",
     [](const T& t) -> long { return map(pageBytes, write, MAP_PRIVATE, t.memory); }},
    {"map memory that need not be paid for",
     [](const T&) -> long { return map(gibibyte, PROT_READ, privately); }},
    {"map memory that grows",
     [](const T&) -> long { return map(pageBytes, write, privately | MAP_GROWSDOWN); }},
    {"map huge pages",
     [](const T&) -> long { return map(2u << 20, write, privately | MAP_HUGETLB); }},
    {"pin memory", [](const T& t) -> long { return ::mlock(t.page, pageBytes); }},
    {"take 5 GiB", [](const T&) -> long { return map(5 * gibibyte, write, privately); }, ENOMEM},
    {"take 5 GiB that are not to be reserved",
     [](const T&) -> long { return map(5 * gibibyte, write, privately | MAP_NORESERVE); }, ENOMEM},
    {"take 5 GiB of reserved addresses",
     [](const T&) -> long {
         void* addresses = ::mmap(nullptr, 5 * gibibyte, PROT_NONE, privately, -1, 0);
         const long taken = ::mprotect(addresses, 5 * gibibyte, write);
         const int error = errno;
         ::munmap(addresses, 5 * gibibyte);
         errno = error;
         return taken;
     },
     ENOMEM},
    {"resize a buffer", [](const T& t) -> long { return ::ftruncate(t.memory, 2 * pageBytes); }},
    {"punch holes into a buffer",
     [](const T& t) -> long { return ::madvise(t.buffer, pageBytes, MADV_REMOVE); }},
    {"share equal pages with others",
     [](const T& t) -> long { return ::madvise(t.page, pageBytes, MADV_MERGEABLE); }},

    // Rights and the kernel of the system
    {"show the process's memory again",
     [](const T&) -> long { return ::prctl(PR_SET_DUMPABLE, 1); }},
    {"outlive the console", [](const T&) -> long { return ::prctl(PR_SET_PDEATHSIG, 0); }},
    {"pretend to be another thread",
     [](const T&) -> long { return ::prctl(PR_SET_NAME, "compiler"); }},
    {"change limits",
     [](const T&) -> long {
         const rlimit limit{1, 1};
         return ::setrlimit(RLIMIT_CORE, &limit);
     }},
    {"change the user", [](const T&) -> long { return call(SYS_setuid, 0); }},
    {"take capabilities", [](const T&) -> long { return call(SYS_capset, nullptr, nullptr); }},
    {"replace the filter", [](const T&) -> long { return call(SYS_seccomp, 1, 0, nullptr); }},
    {"start asynchronous calls",
     [](const T&) -> long { return call(SYS_io_uring_setup, 1, nullptr); }},
    {"load a program into the kernel",
     [](const T&) -> long { return call(SYS_bpf, 0, nullptr, 0); }},
    {"count events of the processor",
     [](const T&) -> long { return call(SYS_perf_event_open, nullptr, 0, -1, -1, 0); }},
    {"keep keys", [](const T&) -> long { return call(SYS_keyctl, 0, -3, 1); }},
    {"wait on several futexes",
     [](const T&) -> long {
         return call(SYS_futex, nullptr, FUTEX_LOCK_PI, 0, nullptr, nullptr, 0);
     }},
    {"stop the machine", [](const T&) -> long { return call(SYS_reboot, 0, 0, 0, nullptr); }},
    {"set the clock",
     [](const T&) -> long { return call(SYS_clock_settime, CLOCK_REALTIME, nullptr); }},
};

/// Negative when not all could be started.
long startThreads(unsigned count) {
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstacksize(&attributes, std::size_t{64} << 10);
    std::atomic<bool> isOver = false;
    const auto wait = [](void* over) -> void* {
        static_cast<std::atomic<bool>*>(over)->wait(false);
        return nullptr;
    };
    std::vector<pthread_t> threads;
    pthread_t thread{};
    while (threads.size() < count && ::pthread_create(&thread, &attributes, wait, &isOver) == 0)
        threads.push_back(thread);
    isOver = true;
    isOver.notify_all();
    for (const pthread_t started : threads)
        ::pthread_join(started, nullptr);
    ::pthread_attr_destroy(&attributes);
    return threads.size() == count ? 0 : -1;
}

constexpr IsolationAttack isolationList[] = {
    {"find any file", [](const Isolation& i) { return i.landlock > 0 || i.has("mount"); },
     [](const T& t) -> long { return ::open(t.file, O_RDONLY); }},
    {"reach the network", [](const Isolation& i) { return i.has("net"); },
     [](const T&) -> long { return connectTo(::socket(AF_INET, SOCK_DGRAM, 0), 0x08080808); }},
    {"signal a process of the user",
     [](const Isolation& i) { return i.landlock >= 6 || i.has("pid"); },
     [](const T& t) -> long { return t.parent > 0 ? ::kill(t.parent, 0) : -1; }},
    {"use a capability", [](const Isolation&) { return true; },
     [](const T&) -> long { return ::chroot("/"); }},
    {"start threads without end", [](const Isolation& i) { return i.maxThreads > 0; },
     [](const T&) -> long { return startThreads(20'000); }},
};

constexpr Attack necessityList[] = {
    {"start a thread",
     [](const T&) -> long {
         int ran = 0;
         std::thread([&] { ran = 1; }).join();
         return ran - 1;
     }},
    {"map a buffer",
     [](const T& t) -> long { return map(pageBytes, write, MAP_SHARED, t.memory); }},
    {"make machine code",
     [](const T&) -> long {
         constexpr std::array code = {std::byte{0xB8}, std::byte{42}, std::byte{},
                                      std::byte{},     std::byte{},   std::byte{0xC3}};
         const auto arena = host::CodeArena::ofProcess();
         const auto block = (*arena)->take(host::CodeArena::Kind::Code, code.size(), 1);
         if (!block || !(*arena)->write(*block, code))
             return -1;
         return reinterpret_cast<int (*)()>(const_cast<std::byte*>(block->begin()))() == 42 ? 0
                                                                                            : -1;
     }},
};

} // namespace

std::span<const Attack> attacks() {
    return attackList;
}
std::span<const IsolationAttack> isolationAttacks() {
    return isolationList;
}
std::span<const Attack> necessities() {
    return necessityList;
}

} // namespace compute::service
