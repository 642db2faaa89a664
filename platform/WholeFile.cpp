// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/WholeFile.h"

#include "platform/AsideFile.h"
#include "platform/base/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace platform {
namespace {

Error failure(const char* verb, const std::string& path) {
    return Error{std::string("cannot ") + verb + " " + path + ": " + std::strerror(errno)};
}

Result<void> writeDirectly(const std::string& path, std::span<const std::byte> bytes) {
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (!file || !writeAll(file.get(), bytes))
        return failure("write", path);
    return {};
}

Result<void> writeAside(const std::string& path, std::span<const std::byte> bytes) {
    AsideFile file = SL42_TRY(AsideFile::create(path));
    if (!writeAll(file.descriptor(), bytes))
        return failure("write", path);
    return file.commit();
}

/// So that a new name in the folder outlives a power failure. Some file systems cannot; then it
/// takes them a few seconds.
void syncFolder(const std::filesystem::path& folder) {
    const FileDescriptor directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory)
        static_cast<void>(::fsync(directory.get()));
}

} // namespace

bool writeAll(int descriptor, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            return false;
        if (written > 0)
            bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

Result<Bytes> readWholeFile(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file)
        return failure("read", path);
    Bytes bytes;
    std::array<std::byte, 65536> piece{};
    for (;;) {
        const ssize_t count = ::read(file.get(), piece.data(), piece.size());
        if (count == 0)
            return bytes;
        if (count > 0)
            bytes.insert(bytes.end(), piece.begin(), piece.begin() + count);
        else if (errno != EINTR)
            return failure("read", path);
    }
}

Result<void> writeWholeFile(const std::string& path, std::span<const std::byte> bytes) {
    struct stat existing{};
    if (::stat(path.c_str(), &existing) == 0 && !S_ISREG(existing.st_mode))
        return writeDirectly(path, bytes);
    return writeAside(path, bytes);
}

Result<void> saveWholeFile(const std::string& path, std::span<const std::byte> bytes) {
    struct stat existing{};
    const bool replaces = ::stat(path.c_str(), &existing) == 0;
    if (replaces && !S_ISREG(existing.st_mode))
        return writeDirectly(path, bytes);
    // Renaming asks the folder for permission, not the file that it replaces.
    if (replaces && ::access(path.c_str(), W_OK) != 0)
        return failure("write", path);
    AsideFile file = SL42_TRY(AsideFile::create(path));
    if (replaces) // where permissions cannot be set there are none to keep
        static_cast<void>(::fchmod(file.descriptor(), existing.st_mode & 07777));
    if (!writeAll(file.descriptor(), bytes) || ::fsync(file.descriptor()) != 0)
        return failure("write", path);
    const auto folder = std::filesystem::path(file.path()).parent_path();
    SL42_TRY_VOID(file.commit());
    syncFolder(folder);
    return {};
}

} // namespace platform
