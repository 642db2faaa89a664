// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A new file that grows while something goes on. A thread of its own writes it, so that whoever
// appends never waits for a disk; what was appended is in the hands of the system a moment later
// and survives the end of this process, however it ends.
#pragma once

#include "platform/base/FileDescriptor.h"
#include "platform/base/Mutex.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace platform {

/// Any thread may append; one ends it.
class AppendedFile {
public:
    /// Makes the file. The error is one line with the path, also when there is one of that name.
    static Result<std::unique_ptr<AppendedFile>> create(const std::filesystem::path& path);
    /// Writes what is left.
    ~AppendedFile();
    AppendedFile(const AppendedFile&) = delete;
    AppendedFile& operator=(const AppendedFile&) = delete;

    /// All of the bytes, in one piece. They are dropped after an error, and so is whatever else
    /// comes: the file stays whole up to where it failed. A disk that lags behind by too much is an
    /// error.
    void append(std::string_view bytes);
    /// The first error, in one line.
    std::optional<Error> error() const;
    /// Waits until everything is written. Nothing may be appended after it.
    Result<void> finish();

private:
    /// What may wait in memory.
    static constexpr std::size_t mostWaiting = std::size_t{32} << 20;

    AppendedFile(std::filesystem::path path, FileDescriptor file);
    void run();
    std::optional<std::string> nextPiece();
    void fail(const std::string& reason);

    const std::filesystem::path m_path;
    FileDescriptor m_file;
    mutable Mutex m_mutex;
    Condition m_changed;
    std::string m_waiting SL42_GUARDED_BY(m_mutex);
    std::optional<Error> m_error SL42_GUARDED_BY(m_mutex);
    bool m_isLast SL42_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

} // namespace platform
