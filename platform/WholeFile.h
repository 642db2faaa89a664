// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Files that are read and written in one piece.
#pragma once

#include "platform/base/Result.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace platform {

using Bytes = std::vector<std::byte>;

/// The error is one line with the path and the reason.
Result<Bytes> readWholeFile(const std::string& path);

/// Writes a regular file aside and renames it into place, so that whoever looks sees the old
/// contents or the new ones and a failure leaves the old ones alone. A symbolic link keeps
/// pointing where it does. What is not a regular file (a terminal, /dev/null) is written directly.
Result<void> writeWholeFile(const std::string& path, std::span<const std::byte> bytes);

/// The same for what a person would miss: it also waits until the disk has the bytes, keeps the
/// permissions of the file that is replaced, and does not replace one that is write-protected.
Result<void> saveWholeFile(const std::string& path, std::span<const std::byte> bytes);

/// Writes to a descriptor; says whether it took all, with the reason in errno otherwise.
bool writeAll(int descriptor, std::span<const std::byte> bytes);

} // namespace platform
