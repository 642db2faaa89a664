// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Probe.h"

#include "compute/service/Sandbox.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <thread>
#include <unistd.h>

namespace compute::service {

namespace {

constexpr std::size_t pageBytes = 4096;

/// Made before the lock-down, for attempts that need something to start from.
struct Preparations {
    int memory = ::memfd_create("probe", MFD_CLOEXEC);
    int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    void* page =
        ::mmap(nullptr, pageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    pid_t parent = ::getppid();
    /// As when intermediate code is dumped, which allows the most.
    int folder = ::open("/", O_DIRECTORY | O_CLOEXEC);

    bool complete() const {
        return memory >= 0 && ::ftruncate(memory, pageBytes) == 0 && socket >= 0 &&
               page != MAP_FAILED && folder >= 0;
    }
};

struct Attempt {
    const char* what;
    /// Negative when it failed, as system calls do.
    long (*perform)(const Preparations&);
};

long mapped(void* address) {
    return address == MAP_FAILED ? -1 : 0;
}

/// In a new process there is nothing more to prove.
long endChild(long process) {
    if (process == 0)
        ::_exit(0);
    return process;
}

constexpr Attempt attempts[] = {
    {"open /etc/passwd",
     [](const Preparations&) -> long { return ::open("/etc/passwd", O_RDONLY); }},
    {"open a file without the C library",
     [](const Preparations&) -> long { return ::syscall(SYS_openat, AT_FDCWD, "/etc/passwd", 0); }},
    {"create a file in /tmp",
     [](const Preparations&) -> long {
         return ::open("/tmp/starloom-compute-probe", O_CREAT | O_WRONLY, 0600);
     }},
    {"read a file by way of the folder for dumps",
     [](const Preparations& p) -> long { return ::openat(p.folder, "etc/passwd", O_RDONLY); }},
    {"change a file by way of the folder for dumps",
     [](const Preparations& p) -> long {
         return ::openat(p.folder, "tmp/starloom-compute-probe", O_RDWR | O_CREAT, 0600);
     }},
    {"look for a file", [](const Preparations&) -> long { return ::access("/etc/passwd", R_OK); }},
    {"delete a file",
     [](const Preparations&) -> long { return ::unlink("/tmp/starloom-compute-probe"); }},
    {"list processes", [](const Preparations&) -> long { return ::open("/proc", O_DIRECTORY); }},
    {"make a network socket",
     [](const Preparations&) -> long { return ::socket(AF_INET, SOCK_STREAM, 0); }},
    {"make a local socket",
     [](const Preparations&) -> long { return ::socket(AF_UNIX, SOCK_STREAM, 0); }},
    {"connect",
     [](const Preparations& p) -> long {
         sockaddr_in address{};
         address.sin_family = AF_INET;
         address.sin_port = htons(9);
         address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
         return ::connect(p.socket, reinterpret_cast<sockaddr*>(&address), sizeof address);
     }},
    {"listen", [](const Preparations& p) -> long { return ::listen(p.socket, 1); }},
    {"execute a program",
     [](const Preparations&) -> long {
         char* const arguments[] = {nullptr};
         return ::execve("/bin/true", arguments, arguments);
     }},
    {"execute a memory object",
     [](const Preparations& p) -> long {
         char* const arguments[] = {nullptr};
         return ::syscall(SYS_execveat, p.memory, "", arguments, arguments, AT_EMPTY_PATH);
     }},
    {"fork", [](const Preparations&) -> long { return endChild(::fork()); }},
    {"clone a process",
     [](const Preparations&) -> long {
         return endChild(::syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, 0));
     }},
    {"enter a user namespace",
     [](const Preparations&) -> long { return ::unshare(CLONE_NEWUSER); }},
    {"trace the console",
     [](const Preparations& p) -> long { return ::ptrace(PTRACE_ATTACH, p.parent, 0, 0); }},
    {"read the console's memory",
     [](const Preparations& p) -> long {
         char byte = 0;
         const iovec mine{&byte, 1};
         const iovec theirs{p.page, 1};
         return ::process_vm_readv(p.parent, &mine, 1, &theirs, 1, 0);
     }},
    {"signal the console", [](const Preparations& p) -> long { return ::kill(p.parent, 0); }},
    {"signal a thread of the console",
     [](const Preparations& p) -> long { return ::syscall(SYS_tgkill, p.parent, p.parent, 0); }},
    {"take a handle of the console",
     [](const Preparations& p) -> long { return ::syscall(SYS_pidfd_open, p.parent, 0); }},
    {"make a memory object",
     [](const Preparations&) -> long { return ::memfd_create("probe", MFD_CLOEXEC); }},
    {"make shared memory",
     [](const Preparations&) -> long { return ::shmget(IPC_PRIVATE, pageBytes, 0600); }},
    {"resize a buffer",
     [](const Preparations& p) -> long { return ::ftruncate(p.memory, 2 * pageBytes); }},
    {"run a buffer as code",
     [](const Preparations& p) -> long {
         return mapped(::mmap(nullptr, pageBytes, PROT_READ | PROT_EXEC, MAP_SHARED, p.memory, 0));
     }},
    {"map memory both writable and executable",
     [](const Preparations&) -> long {
         return mapped(::mmap(nullptr, pageBytes, PROT_READ | PROT_WRITE | PROT_EXEC,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
     }},
    {"make memory both writable and executable",
     [](const Preparations& p) -> long {
         return ::mprotect(p.page, pageBytes, PROT_READ | PROT_WRITE | PROT_EXEC);
     }},
    {"show the process's memory again",
     [](const Preparations&) -> long { return ::prctl(PR_SET_DUMPABLE, 1); }},
    {"outlive the console",
     [](const Preparations&) -> long { return ::prctl(PR_SET_PDEATHSIG, 0); }},
    {"change limits",
     [](const Preparations&) -> long {
         const rlimit limit{1, 1};
         return ::setrlimit(RLIMIT_CORE, &limit);
     }},
    {"start asynchronous calls",
     [](const Preparations&) -> long { return ::syscall(SYS_io_uring_setup, 1, nullptr); }},
    {"load a program into the kernel",
     [](const Preparations&) -> long { return ::syscall(SYS_bpf, 0, nullptr, 0); }},
    {"change the user", [](const Preparations&) -> long { return ::setuid(0); }},
};

/// What every kernel and every compilation needs.
constexpr Attempt necessities[] = {
    {"start a thread",
     [](const Preparations&) -> long {
         int ran = 0;
         std::thread([&] { ran = 1; }).join();
         return ran - 1;
     }},
    {"map a buffer",
     [](const Preparations& p) -> long {
         return mapped(::mmap(nullptr, pageBytes, PROT_READ | PROT_WRITE, MAP_SHARED, p.memory, 0));
     }},
};

} // namespace

int probe() {
    const Preparations preparations;
    if (!preparations.complete()) {
        std::fprintf(stderr, "BROKEN: preparations (%s)\n", std::strerror(errno));
        return 1;
    }
    if (const auto locked = lockDown({.dumpFolder = preparations.folder}); !locked) {
        std::fprintf(stderr, "BROKEN: %s\n", locked.error().message.c_str());
        return 1;
    }
    int surprises = 0;
    for (const Attempt& attempt : attempts) {
        errno = 0;
        const bool possible = attempt.perform(preparations) >= 0;
        surprises += possible ? 1 : 0;
        if (possible)
            std::fprintf(stderr, "POSSIBLE: %s\n", attempt.what);
        else
            std::fprintf(stderr, "denied: %s (%s)\n", attempt.what, std::strerror(errno));
    }
    for (const Attempt& necessity : necessities) {
        const bool works = necessity.perform(preparations) >= 0;
        surprises += works ? 0 : 1;
        std::fprintf(stderr, "%s: %s\n", works ? "works" : "BROKEN", necessity.what);
    }
    return surprises == 0 ? 0 : 1;
}

} // namespace compute::service
