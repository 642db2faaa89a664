// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Opening a file in the program that the user has chosen for it.
#pragma once

#include "platform/base/Result.h"

#include <filesystem>
#include <string>

namespace platform {

/// Starts `command`, or xdg-open when it is empty, with the file's path as its last argument, and
/// does not wait for it. `command` is split into words as a shell does it, quotes and variables
/// included, but nothing is run to make it up. Fails when the program cannot be started.
Result<void> openFile(const std::filesystem::path& path, const std::string& command);

} // namespace platform
