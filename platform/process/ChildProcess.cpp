// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/process/ChildProcess.h"

#include "platform/base/ArgumentPointers.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace platform {
namespace {

Error failure(const std::string& program, int code) {
    return Error{"cannot start " + program + ": " + std::strerror(code)};
}

/// The last line of a file, which may lack its end.
std::string lastLineOf(int file) {
    constexpr off_t longestLine = 4096;
    struct stat status{};
    if (::fstat(file, &status) != 0)
        return {};
    std::string tail(static_cast<std::size_t>(std::min(status.st_size, longestLine)), '\0');
    const ssize_t count =
        ::pread(file, tail.data(), tail.size(), status.st_size - static_cast<off_t>(tail.size()));
    tail.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    const auto end = tail.find_last_not_of('\n');
    if (end == tail.npos)
        return {};
    tail.resize(end + 1);
    const auto start = tail.rfind('\n');
    return start == tail.npos ? tail : tail.substr(start + 1);
}

} // namespace

std::filesystem::path programFolder() {
    std::error_code unknown;
    return std::filesystem::read_symlink("/proc/self/exe", unknown).parent_path();
}

Error replaceProcess(const std::vector<std::string>& words) {
    ::execv(words.front().c_str(), pointersTo(words).data());
    return failure(words.front(), errno);
}

Result<ChildProcess> ChildProcess::start(const std::vector<std::string>& words) {
    // A file and not a pipe: when this process ends first, the child can still write to it.
    FileDescriptor errors(::memfd_create("errors", MFD_CLOEXEC));
    if (!errors)
        return failure(words.front(), errno);
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, errors.get(), STDERR_FILENO);
    posix_spawnattr_t attributes{};
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    pid_t child = 0;
    const int code = ::posix_spawn(&child, words.front().c_str(), &actions, &attributes,
                                   pointersTo(words).data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (code != 0)
        return failure(words.front(), code);
    FileDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    if (!process)
        return failure(words.front(), errno);
    return ChildProcess(std::move(process), std::move(errors));
}

ChildProcess::End ChildProcess::finish() {
    siginfo_t info{};
    while (::waitid(P_PIDFD, static_cast<id_t>(m_process.get()), &info, WEXITED) != 0 &&
           errno == EINTR) {
    }
    const bool failed = info.si_code != CLD_EXITED || info.si_status != 0;
    return {failed, lastLineOf(m_errors.get())};
}

} // namespace platform
