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

} // namespace platform
