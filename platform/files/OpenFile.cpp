// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/OpenFile.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <wordexp.h>

#include <cstring>
#include <thread>
#include <vector>

namespace platform {
namespace {

constexpr const char* desktopOpener = "xdg-open";

/// None when the command cannot be split.
std::vector<std::string> wordsOf(const std::string& command) {
    wordexp_t expanded{};
    std::vector<std::string> words;
    if (::wordexp(command.c_str(), &expanded, WRDE_NOCMD) == 0)
        words.assign(expanded.we_wordv, expanded.we_wordv + expanded.we_wordc);
    ::wordfree(&expanded);
    return words;
}

} // namespace

Result<void> openFile(const std::filesystem::path& path, const std::string& command) {
    std::vector<std::string> words = wordsOf(command.empty() ? desktopOpener : command);
    if (words.empty())
        return Error{"not a command: " + command};
    words.push_back(path.string());
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t child = 0;
    const int failure =
        ::posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), environ);
    if (failure != 0)
        return Error{"cannot start " + words[0] + ": " + std::strerror(failure)};
    // An editor may run for hours; somebody has to be there when it ends.
    std::thread([child] { ::waitpid(child, nullptr, 0); }).detach();
    return {};
}

} // namespace platform
