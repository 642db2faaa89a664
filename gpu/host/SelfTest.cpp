// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/SelfTest.h"

#include "gpu/host/LaunchService.h"
#include "platform/base/FileDescriptor.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace gpu::host {

using platform::Error;
using platform::FileDescriptor;
using platform::Result;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds patience(5);
constexpr std::size_t maxBytes = 64u << 10;

/// Until the other side ends or takes too long.
std::string readAll(const FileDescriptor& pipe) {
    std::string text;
    const auto end = Clock::now() + patience;
    while (text.size() < maxBytes) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd source{pipe.get(), POLLIN, 0};
        if (left.count() <= 0 || ::poll(&source, 1, static_cast<int>(left.count())) <= 0)
            break;
        std::array<char, 4096> bytes{};
        const ssize_t count = ::read(pipe.get(), bytes.data(), bytes.size());
        if (count <= 0)
            break;
        text.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return text;
}

std::string lastLineOf(std::string text) {
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text.substr(text.rfind('\n') + 1);
}

} // namespace

Result<Answer> askService(const std::string& executable, std::vector<std::string> arguments) {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return Error{std::string("Cannot make a pipe: ") + std::strerror(errno)};
    const FileDescriptor readEnd(ends[0]);
    FileDescriptor writeEnd(ends[1]);
    const pid_t pid = SL42_TRY(launch({.executable = executable,
                                       .arguments = std::move(arguments),
                                       .descriptors = {writeEnd.get()}}));
    writeEnd.reset();
    Answer answer{.text = readAll(readEnd)};
    ::kill(pid, SIGKILL); // does not change how it ended, if it has
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    answer.succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return answer;
}

Result<SandboxTest> testSandbox(const std::string& executable, const std::string& device) {
    std::vector<std::string> arguments = {"--probe"};
    if (!device.empty())
        arguments.push_back(device);
    Answer answer = SL42_TRY(askService(executable, std::move(arguments)));
    SandboxTest test;
    test.summary = lastLineOf(answer.text);
    test.report = std::move(answer.text);
    test.isTight = answer.succeeded && test.summary.starts_with("sandbox: ");
    return test;
}

} // namespace gpu::host
