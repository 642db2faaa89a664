// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Target.h"

#include "compute/host/code/CodeArena.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace compute::service {

using platform::Error;
using platform::Result;

namespace {

constexpr std::size_t pageBytes = 4096;

/// Ends when the attacker does and nobody holds the other end of the pipe any more.
[[noreturn]] void beVictim(int pipe) {
    ::dup2(pipe, 0);
    ::close_range(1, ~0u, 0);
    char byte = 0;
    (void)!::read(0, &byte, 1);
    ::_exit(0);
}

} // namespace

Result<Target> Target::create() {
    const auto arena = SL42_TRY(host::CodeArena::ofProcess());
    Target target;
    target.codeWriter = arena->writer();
    target.code = const_cast<std::byte*>(arena->memory().data());
    target.memory = ::memfd_create("probe", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    target.socket = ::socket(AF_INET, SOCK_STREAM, 0);
    target.folder = ::open("/", O_DIRECTORY | O_CLOEXEC);
    target.parent = ::getppid();
    if (target.memory < 0 || ::ftruncate(target.memory, pageBytes) != 0 || target.socket < 0 ||
        target.folder < 0)
        return Error{std::string("Cannot make something to attack: ") + std::strerror(errno)};
    target.buffer =
        ::mmap(nullptr, pageBytes, PROT_READ | PROT_WRITE, MAP_SHARED, target.memory, 0);
    target.page =
        ::mmap(nullptr, pageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) == 0)
        target.victim = ::fork();
    if (target.victim == 0)
        beVictim(ends[0]);
    target.victimHandle = static_cast<int>(::syscall(SYS_pidfd_open, target.victim, 0));
    if (target.buffer == MAP_FAILED || target.page == MAP_FAILED || target.victim < 0)
        return Error{std::string("Cannot make somebody to attack: ") + std::strerror(errno)};
    return target;
}

} // namespace compute::service
