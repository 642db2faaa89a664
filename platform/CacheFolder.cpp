// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/CacheFolder.h"

#include <cstdlib>

namespace platform {

std::optional<std::filesystem::path> cacheFolder() {
    const char* caches = std::getenv("XDG_CACHE_HOME");
    const char* home = std::getenv("HOME");
    // The XDG base directory rules: a relative path counts as none.
    if (caches && std::filesystem::path(caches).is_absolute())
        return std::filesystem::path(caches) / "starloom42";
    if (home && std::filesystem::path(home).is_absolute())
        return std::filesystem::path(home) / ".cache/starloom42";
    return std::nullopt;
}

} // namespace platform
