// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/UserFolders.h"

#include <cstdlib>

namespace platform {

namespace {

/// The XDG base directory rules: a relative path counts as none.
std::optional<std::filesystem::path> userFolder(const char* variable, const char* belowHome) {
    const char* base = std::getenv(variable);
    const char* home = std::getenv("HOME");
    if (base && std::filesystem::path(base).is_absolute())
        return std::filesystem::path(base) / "starloom42";
    if (home && std::filesystem::path(home).is_absolute())
        return std::filesystem::path(home) / belowHome / "starloom42";
    return std::nullopt;
}

} // namespace

std::optional<std::filesystem::path> cacheFolder() {
    return userFolder("XDG_CACHE_HOME", ".cache");
}

std::optional<std::filesystem::path> stateFolder() {
    return userFolder("XDG_STATE_HOME", ".local/state");
}

} // namespace platform
