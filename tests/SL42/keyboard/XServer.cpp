// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/SL42/keyboard/XServer.h"

#include "platform/base/FileDescriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

namespace starloom {

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
    m_server = std::make_unique<tests::Program>(command);
    writing.reset();
    for (char digit = 0; ::read(reading.get(), &digit, 1) == 1 && digit != '\n';)
        m_display += digit;
    if (m_display.empty())
        throw std::runtime_error("the X server did not start");
    m_display.insert(0, ":");
}

XServer::~XServer() {
    m_server->signal(SIGTERM); // gives it time to tidy up
    m_server->wait();
}

int XServer::run(std::vector<std::string> command, const tests::Streams& streams) const {
    command.insert(command.begin(), {"env", "DISPLAY=" + m_display});
    return tests::Program(command, streams).wait();
}

} // namespace starloom
