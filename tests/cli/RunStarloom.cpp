// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/cli/RunStarloom.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace cli::tests {
namespace fs = std::filesystem;
namespace {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    if (!value)
        throw std::runtime_error(std::string(name) + " is not set; run the tests with ctest");
    return value;
}

pid_t spawn(const std::string& program, const std::vector<std::string>& arguments,
            const ScratchFolder& streams) {
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, streams.path("in").c_str(), O_RDONLY, 0);
    constexpr int create = O_WRONLY | O_CREAT;
    posix_spawn_file_actions_addopen(&actions, 1, streams.path("out").c_str(), create, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, streams.path("err").c_str(), create, 0600);
    pid_t child = 0;
    const int failure =
        ::posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0)
        throw std::runtime_error("cannot start " + program);
    return child;
}

} // namespace

Outcome runStarloom(const std::vector<std::string>& arguments, std::string_view input,
                    const std::function<void(pid_t)>& meanwhile) {
    const ScratchFolder streams;
    streams.file("in", input);
    const pid_t child = spawn((buildFolder() / "starloom").string(), arguments, streams);
    if (meanwhile)
        meanwhile(child);
    int status = 0;
    ::waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
            contentsOf(streams.path("out")), contentsOf(streams.path("err"))};
}

fs::path sourceFolder() {
    return environment("SL42_SOURCE_DIR");
}
fs::path buildFolder() {
    return environment("SL42_BUILD_DIR");
}

} // namespace cli::tests
