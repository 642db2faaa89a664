// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where documents keep what must outlive the process and is nobody's document.
#pragma once

#include <filesystem>

namespace starloom {

/// $XDG_STATE_HOME/starloom42 or ~/.local/state/starloom42; empty when there is neither.
std::filesystem::path stateFolder();

} // namespace starloom
