// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where files lie that are this user's and nobody's document. The folders need not be there.
#pragma once

#include <filesystem>
#include <optional>

namespace platform {

/// For what can be made again: starloom42 in $XDG_CACHE_HOME, or else in ~/.cache; nothing without
/// a home.
std::optional<std::filesystem::path> cacheFolder();
/// For what must outlive the process: the same in $XDG_STATE_HOME or ~/.local/state.
std::optional<std::filesystem::path> stateFolder();

} // namespace platform
