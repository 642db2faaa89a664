// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/service/HostileKernels.h"

#include "compute/host/code/CodeArena.h"

#include <array>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <sys/mman.h>
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

/// The self-test of the service tries many more ways, but not from the threads of kernels.
void attackProcess(std::uint32_t* buffer, std::uint32_t) {
    const auto victim = static_cast<pid_t>(buffer[VictimPlace]);
    std::uint64_t word = 0;
    const iovec mine{&word, sizeof word};
    const iovec theirs{buffer, sizeof word};
    buffer[SuccessPlace] = successes({::kill(victim, SIGKILL), ::kill(-1, SIGKILL),
                                      ::syscall(SYS_pidfd_open, victim, 0),
                                      ::process_vm_writev(victim, &mine, 1, &theirs, 1, 0)});
}

void runBuffer(std::uint32_t* buffer, std::uint32_t) {
    std::memcpy(buffer + 16, code.data(), code.size());
    buffer[SuccessPlace] = successes({::mprotect(buffer, pageBytes, readExecute),
                                      ::mprotect(buffer, pageBytes, readWrite | PROT_EXEC)});
    buffer[AmountPlace] = runAt(buffer + 16);
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

struct Entry {
    std::string_view name;
    HostileKernel run;
};
constexpr Entry entries[] = {
    {"attack-process", attackProcess}, {"run-buffer", runBuffer},
    {"run-from-arena", runFromArena},  {"store-into-arena", storeIntoArena},
    {"call-as-32-bits", callAs32Bits},
};

} // namespace

HostileKernel findHostileKernel(std::string_view name) {
    for (const Entry& entry : entries)
        if (entry.name == name)
            return entry.run;
    return nullptr;
}

} // namespace test
