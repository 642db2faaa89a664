// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Isolation.h"

#include "platform/base/FileDescriptor.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fuzz {
namespace {

struct Child {
    pid_t process;
    platform::FileDescriptor results;
};

void writeAll(int descriptor, const void* data, std::size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = ::write(descriptor, bytes, size);
        if (written <= 0)
            ::_exit(1); // the parent is gone
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

bool readAll(int descriptor, void* data, std::size_t size) {
    auto* bytes = static_cast<char*>(data);
    while (size > 0) {
        const ssize_t got = ::read(descriptor, bytes, size);
        if (got <= 0)
            return false;
        bytes += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

Child start(std::size_t first, std::size_t count, const std::function<void()>& prepare,
            const std::function<std::string(std::size_t)>& job) {
    int ends[2];
    if (::pipe(ends) != 0)
        std::abort();
    std::fflush(nullptr);
    const pid_t process = ::fork();
    if (process < 0)
        std::abort();
    if (process > 0) {
        ::close(ends[1]);
        return {process, platform::FileDescriptor(ends[0])};
    }
    ::prctl(PR_SET_PDEATHSIG, SIGKILL); // whoever ends the parent means all of it
    prepare();
    for (std::size_t i = first; i < count; ++i) {
        const std::string result = job(i);
        const std::uint64_t size = result.size();
        writeAll(ends[1], &size, sizeof size);
        writeAll(ends[1], result.data(), size);
    }
    ::_exit(0);
}

/// Nothing when the process ended or took too long.
std::optional<std::string> nextResult(const Child& child, int seconds) {
    pollfd waited{.fd = child.results.get(), .events = POLLIN, .revents = 0};
    if (::poll(&waited, 1, 1000 * seconds) != 1)
        return std::nullopt;
    std::uint64_t size = 0;
    if (!readAll(child.results.get(), &size, sizeof size))
        return std::nullopt;
    std::string result(size, '\0');
    if (!readAll(child.results.get(), result.data(), size))
        return std::nullopt;
    return result;
}

/// Ends the process where it has not ended by itself.
std::string fate(const Child& child) {
    ::usleep(100'000); // for a process that is about to die of its own signal
    int status = 0;
    const bool ended = ::waitpid(child.process, &status, WNOHANG) == child.process;
    if (!ended) {
        ::kill(child.process, SIGKILL);
        ::waitpid(child.process, &status, 0);
        return "time-out";
    }
    if (WIFSIGNALED(status))
        return std::string("crash: ") + ::strsignal(WTERMSIG(status));
    return "crash: exit status " + std::to_string(WEXITSTATUS(status));
}

} // namespace

void runIsolated(std::size_t count, int seconds, const std::function<void()>& prepare,
                 const std::function<std::string(std::size_t)>& job,
                 const std::function<void(std::size_t, const std::string&)>& report) {
    std::size_t next = 0;
    while (next < count) {
        const Child child = start(next, count, prepare, job);
        for (; next < count; ++next) {
            const auto result = nextResult(child, seconds);
            if (!result)
                break;
            report(next, *result);
        }
        if (next < count)
            report(next++, fate(child));
        else
            ::waitpid(child.process, nullptr, 0);
    }
}

} // namespace fuzz
