// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/AsideFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string_view>
#include <utility>

namespace platform {
namespace {

constexpr int mostFilesAside = 100;
constexpr std::string_view suffix = ".partial";
constexpr std::time_t secondsToLock = 60;

Error writeFailure(const std::string& path, const char* reason) {
    return Error{"cannot write " + path + ": " + reason};
}

std::string resolved(const std::string& path) {
    std::error_code unresolved;
    const auto target = std::filesystem::weakly_canonical(path, unresolved);
    return unresolved ? path : target.string();
}

/// Whether the name is that of a file aside: DESTINATION.PROCESS.NUMBER.partial
bool isAside(std::string_view name, std::string_view destination) {
    if (!name.starts_with(destination) || !name.ends_with(suffix) ||
        name.size() <= destination.size() + suffix.size())
        return false;
    name.remove_prefix(destination.size());
    name.remove_suffix(suffix.size());
    return name.front() == '.' && std::ranges::count(name, '.') == 2 &&
           name.find_first_not_of(".0123456789") == name.npos;
}

/// Whether the file's process was killed: it would still hold the lock. One that is being made has
/// none yet, but is new.
bool isAbandoned(const std::filesystem::path& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status{};
    return file && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_uid == ::geteuid() && ::time(nullptr) - status.st_mtime > secondsToLock &&
           ::flock(file.get(), LOCK_EX | LOCK_NB) == 0;
}

void removeAbandoned(const std::filesystem::path& destination) {
    std::error_code failed;
    std::filesystem::directory_iterator entries(destination.parent_path(), failed);
    for (; !failed && entries != end(entries); entries.increment(failed))
        if (isAside(entries->path().filename().native(), destination.filename().native()) &&
            isAbandoned(entries->path()))
            ::unlink(entries->path().c_str());
}

} // namespace

Result<AsideFile> AsideFile::create(const std::string& destination, unsigned permissions) {
    struct stat existing{};
    if (::stat(destination.c_str(), &existing) == 0 && !S_ISREG(existing.st_mode))
        return writeFailure(destination, "Not a regular file");
    const std::string target = resolved(destination);
    const std::string stem = target + "." + std::to_string(::getpid()) + ".";
    removeAbandoned(target);
    // Another thread may be writing to the same destination.
    for (int number = 0; number < mostFilesAside; ++number) {
        std::string path = stem + std::to_string(number) + std::string(suffix);
        FileDescriptor file(
            ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions));
        if (file) {
            (void)::flock(file.get(), LOCK_EX | LOCK_NB); // not every file system has locks
            return AsideFile(target, std::move(path), std::move(file));
        }
        if (errno != EEXIST)
            break;
    }
    return writeFailure(destination, std::strerror(errno));
}

AsideFile::AsideFile(std::string destination, std::string path, FileDescriptor file)
    : m_destination(std::move(destination)), m_path(std::move(path)), m_file(std::move(file)) {}

AsideFile::AsideFile(AsideFile&& other) noexcept
    : m_destination(std::move(other.m_destination)),
      m_path(std::exchange(other.m_path, {})),
      m_file(std::move(other.m_file)) {}

AsideFile::~AsideFile() {
    if (!m_path.empty())
        ::unlink(m_path.c_str());
}

Result<void> AsideFile::commit() {
    const bool closed = ::close(m_file.release()) == 0;
    if (!closed || ::rename(m_path.c_str(), m_destination.c_str()) != 0)
        return writeFailure(m_destination, std::strerror(errno));
    m_path.clear();
    return {};
}

} // namespace platform
