// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A folder of files that make something quicker the next time and can be lost at any moment.
#pragma once

#include "platform/WholeFile.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace platform {

/// What nobody but this user can have put there is read, and nobody else can read it. Whatever is
/// wrong with a file, or the folder, counts as nothing there. Several processes may share it. A
/// plain value; any thread.
class FileCache {
public:
    /// Keeps nothing.
    FileCache() = default;
    explicit FileCache(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    bool isOn() const { return !m_folder.empty(); }
    /// Empty when there is no such file, or one with more than `maxBytes`. It counts as used now.
    Bytes read(const std::string& name, std::size_t maxBytes) const;
    /// Makes the folder, and replaces the file in one step. Says whether it could.
    bool write(const std::string& name, std::span<const std::byte> bytes) const;
    /// Removes what has not been used for the longest time until no more than that is left.
    void trim(std::uintmax_t maxBytes, std::size_t maxFiles) const;

private:
    std::filesystem::path m_folder;
};

} // namespace platform
