// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/WholeFile.h"

#include "platform/base/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace platform {
namespace {

Error failure(const char* verb, const std::string& path) {
    return Error{std::string("cannot ") + verb + " " + path + ": " + std::strerror(errno)};
}

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

Result<void> writeDirectly(const std::string& path, std::span<const std::byte> bytes) {
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (!file || !writeAll(file.get(), bytes))
        return failure("write", path);
    return {};
}

Result<void> writeAside(const std::string& path, std::span<const std::byte> bytes) {
    const std::string aside = path + "." + std::to_string(::getpid()) + ".partial";
    FileDescriptor file(::open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file)
        return failure("write", path);
    const bool written = writeAll(file.get(), bytes) && ::close(file.release()) == 0;
    if (written && ::rename(aside.c_str(), path.c_str()) == 0)
        return {};
    Error error = failure("write", path);
    ::unlink(aside.c_str());
    return error;
}

} // namespace

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
    std::error_code unresolved;
    const auto target = std::filesystem::weakly_canonical(path, unresolved);
    return writeAside(unresolved ? path : target.string(), bytes);
}

} // namespace platform
