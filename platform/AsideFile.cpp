// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/AsideFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

namespace platform {
namespace {

constexpr int mostFilesAside = 100;

Error writeFailure(const std::string& path, const char* reason) {
    return Error{"cannot write " + path + ": " + reason};
}

std::string resolved(const std::string& path) {
    std::error_code unresolved;
    const auto target = std::filesystem::weakly_canonical(path, unresolved);
    return unresolved ? path : target.string();
}

} // namespace

Result<AsideFile> AsideFile::create(const std::string& destination, unsigned permissions) {
    struct stat existing{};
    if (::stat(destination.c_str(), &existing) == 0 && !S_ISREG(existing.st_mode))
        return writeFailure(destination, "Not a regular file");
    const std::string target = resolved(destination);
    const std::string stem = target + "." + std::to_string(::getpid()) + ".";
    // Another thread may be writing to the same destination, or a killed process have left one.
    for (int number = 0; number < mostFilesAside; ++number) {
        std::string path = stem + std::to_string(number) + ".partial";
        FileDescriptor file(
            ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions));
        if (file)
            return AsideFile(target, std::move(path), std::move(file));
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
