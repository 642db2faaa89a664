// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/service/HostileKernels.h"

#include "compute/host/code/CodeArena.h"
#include "compute/protocol/Channel.h"

#include <array>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace test {
namespace {

constexpr std::size_t pageBytes = 4096;
constexpr int readWrite = PROT_READ | PROT_WRITE;
constexpr int readExecute = PROT_READ | PROT_EXEC;

/// Machine code of a function that returns 42.
constexpr std::array code = {std::byte{0xB8}, std::byte{42}, std::byte{},
                             std::byte{},     std::byte{},   std::byte{0xC3}};

std::uint32_t runAt(const void* address) {
    return reinterpret_cast<std::uint32_t (*)()>(const_cast<void*>(address))();
}

std::uint32_t successes(std::initializer_list<long> results) {
    std::uint32_t count = 0;
    for (const long result : results)
        count += result >= 0 ? 1 : 0;
    return count;
}

/// Every message that arrives at the socket would kill the victim from then on.
void haveSocketKill(std::uint32_t* buffer, std::uint32_t) {
    const auto victim = static_cast<pid_t>(buffer[VictimPlace]);
    const int socket = compute::protocol::serviceSocket;
    buffer[SuccessPlace] = successes({::syscall(SYS_fcntl, socket, F_SETOWN, victim),
                                      ::syscall(SYS_fcntl, socket, F_SETSIG, SIGKILL),
                                      ::syscall(SYS_fcntl, socket, F_SETFL, O_ASYNC | O_RDWR),
                                      ::syscall(SYS_ioctl, socket, FIOSETOWN, &victim),
                                      ::syscall(SYS_ioctl, socket, SIOCSPGRP, &victim)});
}

void attackProcess(std::uint32_t* buffer, std::uint32_t) {
    const auto victim = static_cast<pid_t>(buffer[VictimPlace]);
    std::uint64_t word = 0;
    const iovec mine{&word, sizeof word};
    const iovec theirs{buffer, sizeof word};
    buffer[SuccessPlace] = successes(
        {::kill(victim, SIGKILL), ::kill(-1, SIGKILL), ::syscall(SYS_tkill, victim, SIGKILL),
         ::syscall(SYS_tgkill, victim, victim, SIGKILL), ::syscall(SYS_pidfd_open, victim, 0),
         ::ptrace(PTRACE_ATTACH, victim, 0, 0), ::ptrace(PTRACE_SEIZE, victim, 0, 0),
         ::process_vm_readv(victim, &mine, 1, &theirs, 1, 0),
         ::process_vm_writev(victim, &mine, 1, &theirs, 1, 0)});
}

void runBuffer(std::uint32_t* buffer, std::uint32_t) {
    std::memcpy(buffer + 16, code.data(), code.size());
    buffer[SuccessPlace] = successes({::mprotect(buffer, pageBytes, readExecute),
                                      ::mprotect(buffer, pageBytes, readWrite | PROT_EXEC)});
    buffer[AmountPlace] = runAt(buffer + 16);
}

void runFreshMemory(std::uint32_t* buffer, std::uint32_t) {
    constexpr int flags = MAP_PRIVATE | MAP_ANONYMOUS;
    void* page = ::mmap(nullptr, pageBytes, readWrite, flags, -1, 0);
    std::memcpy(page, code.data(), code.size());
    buffer[SuccessPlace] = successes(
        {::mprotect(page, pageBytes, readExecute),
         ::mmap(nullptr, pageBytes, readWrite | PROT_EXEC, flags, -1, 0) == MAP_FAILED ? -1 : 0});
    buffer[AmountPlace] = runAt(page);
}

/// What a captured service can do after all: it is there to make machine code.
void runFromArena(std::uint32_t* buffer, std::uint32_t) {
    compute::host::CodeArena& arena = **compute::host::CodeArena::ofProcess();
    const auto place = static_cast<off_t>(arena.memory().size() / 2 - pageBytes);
    if (::pwrite(arena.writer(), code.data(), code.size(), place) > 0)
        buffer[AmountPlace] = runAt(arena.memory().data() + place);
}

void storeIntoArena(std::uint32_t* buffer, std::uint32_t) {
    compute::host::CodeArena& arena = **compute::host::CodeArena::ofProcess();
    void* memory = const_cast<std::byte*>(arena.memory().data());
    buffer[SuccessPlace] = successes({::mprotect(memory, pageBytes, readWrite)});
    *static_cast<volatile char*>(memory) = 1;
}

/// System calls of the 32-bit kind have other numbers, and 37 is kill there.
void callAs32Bits(std::uint32_t* buffer, std::uint32_t) {
#if defined(__x86_64__)
    long result = 37;
    asm volatile("int $0x80"
                 : "+a"(result)
                 : "b"(buffer[VictimPlace]), "c"(SIGKILL)
                 : "memory", "r8", "r9", "r10", "r11");
    buffer[SuccessPlace] = successes({result});
#else
    ::raise(SIGSYS);
#endif
}

void takeMemory(std::uint32_t* buffer, std::uint32_t) {
    constexpr std::size_t piece = std::size_t{64} << 20;
    constexpr std::uint32_t enough = 1024; // pieces: 64 GiB
    buffer[SuccessPlace] = 0;
    buffer[AmountPlace] = 0;
    for (std::uint32_t i = 0; i < enough; ++i) {
        if (::mmap(nullptr, piece, readWrite, MAP_SHARED | MAP_ANONYMOUS, -1, 0) != MAP_FAILED)
            ++buffer[SuccessPlace];
        void* taken =
            ::mmap(nullptr, piece, readWrite, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (taken != MAP_FAILED)
            buffer[AmountPlace] += piece >> 20;
    }
}

struct Entry {
    std::string_view name;
    HostileKernel run;
};
constexpr Entry entries[] = {
    {"have-socket-kill", haveSocketKill},
    {"attack-process", attackProcess},
    {"run-buffer", runBuffer},
    {"run-fresh-memory", runFreshMemory},
    {"run-from-arena", runFromArena},
    {"store-into-arena", storeIntoArena},
    {"call-as-32-bits", callAs32Bits},
    {"take-memory", takeMemory},
};

} // namespace

HostileKernel findHostileKernel(std::string_view name) {
    for (const Entry& entry : entries)
        if (entry.name == name)
            return entry.run;
    return nullptr;
}

} // namespace test
