// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How whoever wants to write a file asks the user where.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace platform {

/// Asks where to save, proposing a file name. None when the user thinks better of it.
using SavePanel = std::function<std::optional<std::filesystem::path>(const std::string& name)>;

} // namespace platform
