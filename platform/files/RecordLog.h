// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A file to which records are only ever appended, so that whatever ends the process, the records
// that were written stay. Damage costs the records that it hits and no others.
#pragma once

#include "platform/base/FileDescriptor.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace platform {

struct Record {
    std::uint8_t kind = 0;
    std::vector<std::byte> payload;
};

/// Several processes may append to one file, each through an object of its own. One thread. Only
/// the user can read the file.
class RecordLog {
public:
    /// Longer payloads are refused: 32 MiB.
    static constexpr std::size_t maxPayload = std::size_t{32} << 20;

    /// Makes no file yet.
    explicit RecordLog(std::filesystem::path path) : m_path(std::move(path)) {}

    const std::filesystem::path& path() const { return m_path; }
    /// Makes the file and its folder if there are none. Does not wait for the disk: what was
    /// appended outlives the process, not the machine. The error is one line with the path.
    Result<void> append(std::uint8_t kind, std::span<const std::byte> payload);
    /// Puts other records in the place of all. Who looks meanwhile sees the old or the new ones.
    Result<void> replace(std::span<const Record> records);

    /// The undamaged records among the last `limit` bytes, in their order; none without a file.
    /// Takes time in proportion to `limit`, whatever the file holds.
    static std::vector<Record> read(const std::filesystem::path& path, std::size_t limit);

private:
    Result<void> lock();

    std::filesystem::path m_path;
    FileDescriptor m_file;
};

} // namespace platform
