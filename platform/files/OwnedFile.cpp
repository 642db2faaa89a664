// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/OwnedFile.h"

#include "platform/WholeFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace platform {
namespace {

Error failure(const std::filesystem::path& path) {
    return Error{"cannot write " + path.string() + ": " + std::strerror(errno)};
}

} // namespace

// The new file is locked before it gets its name, and the old one only after that unlocked.
Result<void> OwnedFile::replace(std::span<const std::byte> bytes) {
    std::error_code failed;
    if (std::filesystem::create_directories(m_path.parent_path(), failed))
        std::filesystem::permissions(m_path.parent_path(), std::filesystem::perms::owner_all,
                                     failed);
    const std::string aside = m_path.string() + ".partial";
    FileDescriptor file(::open(aside.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (!file || ::flock(file.get(), LOCK_EX | LOCK_NB) != 0 || !writeAll(file.get(), bytes) ||
        ::rename(aside.c_str(), m_path.c_str()) != 0) {
        Error error = failure(m_path);
        ::unlink(aside.c_str());
        return error;
    }
    m_file = std::move(file);
    return {};
}

void OwnedFile::remove() {
    if (!m_file)
        return;
    ::unlink(m_path.c_str());
    m_file.reset();
}

// Whoever replaces the file unlocks an old one that has lost its name, so a lock only says
// something when the name is still that of the locked file.
bool OwnedFile::isOwned(const std::filesystem::path& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    struct stat opened{};
    struct stat named{};
    return !file || ::flock(file.get(), LOCK_EX | LOCK_NB) != 0 ||
           ::fstat(file.get(), &opened) != 0 || ::stat(path.c_str(), &named) != 0 ||
           opened.st_ino != named.st_ino;
}

} // namespace platform
