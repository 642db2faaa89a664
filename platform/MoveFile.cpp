// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/MoveFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace platform {
namespace {

namespace fs = std::filesystem;

/// One step for the file system, so that nothing can appear under the name in between. Those that
/// do not know the flag know links, which do not replace either.
bool renameWithoutReplacing(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    return errno == EINVAL && ::link(from.c_str(), to.c_str()) == 0 && ::unlink(from.c_str()) == 0;
}

/// For the next file system over. The file is complete before it gets its name.
std::error_code copyAndRemove(const std::string& from, const std::string& to) {
    const std::string aside = to + "." + std::to_string(::getpid()) + ".partial";
    std::error_code problem;
    fs::copy_file(from, aside, problem);
    if (!problem && !renameWithoutReplacing(aside, to))
        problem = std::error_code(errno, std::generic_category());
    std::error_code ignored;
    fs::remove(problem ? aside : from, ignored);
    return problem;
}

} // namespace

Result<void> moveFile(const std::string& from, const std::string& to) {
    if (renameWithoutReplacing(from, to))
        return {};
    std::error_code problem(errno, std::generic_category());
    if (problem == std::errc::cross_device_link)
        problem = copyAndRemove(from, to);
    if (problem)
        return Error{"cannot move " + from + " to " + to + ": " + problem.message()};
    return {};
}

} // namespace platform
