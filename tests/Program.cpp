// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/Program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

namespace tests {

Program::Program(const std::vector<std::string>& words, const Streams& streams) {
    std::vector<const char*> all{"setpriv", "--pdeathsig", "TERM"}; // and then becomes the program
    for (const std::string& word : words)
        all.push_back(word.c_str());
    all.push_back(nullptr);
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    const auto open = [&](int stream, const std::string& file, int flags) {
        if (!file.empty())
            posix_spawn_file_actions_addopen(&actions, stream, file.c_str(), flags, 0600);
    };
    open(STDIN_FILENO, streams.in, O_RDONLY);
    open(STDOUT_FILENO, streams.out, O_WRONLY | O_CREAT | O_APPEND);
    open(STDERR_FILENO, streams.err, O_WRONLY | O_CREAT | O_APPEND);
    const int failure = ::posix_spawnp(&m_process, all[0], &actions, nullptr,
                                       const_cast<char**>(all.data()), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0)
        throw std::runtime_error("cannot start " + words.front());
}

Program::~Program() {
    signal(SIGKILL);
    wait();
}

bool Program::isRunning() {
    m_isRunning = m_isRunning && ::waitpid(m_process, &m_status, WNOHANG) == 0;
    return m_isRunning;
}

void Program::signal(int number) {
    if (isRunning())
        ::kill(m_process, number);
}

int Program::wait() {
    if (isRunning())
        ::waitpid(m_process, &m_status, 0);
    m_isRunning = false;
    return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -WTERMSIG(m_status);
}

} // namespace tests
