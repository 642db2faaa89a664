// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/SL42/keyboard/XServer.h"

#include "platform/base/FileDescriptor.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace starloom {
namespace {

pid_t spawn(std::vector<std::string>& command, const std::string& display) {
    std::vector<char*> arguments;
    for (std::string& argument : command)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    std::string displayVariable = "DISPLAY=" + display;
    std::vector<char*> environment{displayVariable.data()};
    for (char** variable = environ; *variable; ++variable) {
        if (!std::string_view(*variable).starts_with("DISPLAY="))
            environment.push_back(*variable);
    }
    environment.push_back(nullptr);
    pid_t process = 0;
    if (::posix_spawnp(&process, arguments[0], nullptr, nullptr, arguments.data(),
                       environment.data()) != 0)
        throw std::runtime_error("cannot start " + command[0]);
    return process;
}

int waitFor(pid_t process) {
    int status = 0;
    ::waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

} // namespace

// The server writes the number of the display into the pipe once it takes connections.
XServer::XServer(const std::vector<std::string>& arguments) {
    int ends[2];
    if (::pipe2(ends, 0) != 0)
        throw std::runtime_error("cannot make a pipe");
    const platform::FileDescriptor reading(ends[0]);
    platform::FileDescriptor writing(ends[1]);
    ::fcntl(reading.get(), F_SETFD, FD_CLOEXEC);
    std::vector<std::string> command{"Xvfb",      "-displayfd", std::to_string(writing.get()),
                                     "-nolisten", "tcp",        "-noreset"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    m_process = spawn(command, {});
    writing.reset();
    for (char digit = 0; ::read(reading.get(), &digit, 1) == 1 && digit != '\n';)
        m_display += digit;
    if (m_display.empty()) {
        waitFor(m_process);
        throw std::runtime_error("the X server did not start");
    }
    m_display.insert(0, ":");
}

XServer::~XServer() {
    ::kill(m_process, SIGTERM);
    waitFor(m_process);
}

int XServer::run(std::vector<std::string> command) const {
    return waitFor(spawn(command, m_display));
}

} // namespace starloom
