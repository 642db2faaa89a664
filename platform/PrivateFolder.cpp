// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/PrivateFolder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

namespace platform {

Result<std::filesystem::path> makePrivateFolder() {
    std::error_code none;
    const auto parent = std::filesystem::temp_directory_path(none);
    std::string name = (none ? std::filesystem::path("/tmp") : parent) / "starloom42-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr)
        return Error{"cannot make the folder " + name + ": " +
                     std::generic_category().message(errno)};
    return std::filesystem::path(name);
}

} // namespace platform
