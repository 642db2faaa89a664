// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/document/StateFolder.h"

#include <cstdlib>

namespace starloom {

std::filesystem::path stateFolder() {
    const char* state = std::getenv("XDG_STATE_HOME");
    const char* home = std::getenv("HOME");
    // The XDG base directory rules: a relative path counts as none.
    if (state && std::filesystem::path(state).is_absolute())
        return std::filesystem::path(state) / "starloom42";
    if (home && std::filesystem::path(home).is_absolute())
        return std::filesystem::path(home) / ".local/state/starloom42";
    return {};
}

} // namespace starloom
