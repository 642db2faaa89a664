// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where files lie that can be made again.
#pragma once

#include <filesystem>
#include <optional>

namespace platform {

/// starloom42 in $XDG_CACHE_HOME, or else in ~/.cache; nothing without a home. It need not be
/// there.
std::optional<std::filesystem::path> cacheFolder();

} // namespace platform
