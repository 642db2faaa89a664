// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A file that belongs to a running process, and of which others can tell whether the process that
// wrote it still runs.
#pragma once

#include "platform/base/FileDescriptor.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <filesystem>
#include <span>

namespace platform {

/// The file is locked (flock) as long as the object lives; the system ends the lock when the
/// process ends, however it ends. Only the user can read it. One thread.
class OwnedFile {
public:
    /// Writes no file yet.
    explicit OwnedFile(std::filesystem::path path) : m_path(std::move(path)) {}

    /// Replaces the contents: others see the old ones or the new ones, and the file is never
    /// without its lock. Makes the folder if there is none. Does not wait for the disk.
    Result<void> replace(std::span<const std::byte> bytes);
    /// Removes the file, if there is one. It stays behind when the object just goes.
    void remove();

    /// Whether a running process owns the file, this one included. True also for a file that is not
    /// there (any more).
    static bool isOwned(const std::filesystem::path& path);

private:
    std::filesystem::path m_path;
    FileDescriptor m_file;
};

} // namespace platform
