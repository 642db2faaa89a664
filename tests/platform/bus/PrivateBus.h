// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A session bus of the tests' own, so that none of them talks to the user's desktop.
#pragma once

#include "tests/Program.h"

#include <filesystem>
#include <memory>

namespace platform::tests {

/// Starts a bus whose socket will be `folder`/bus, soon, and points this process's environment to
/// it. It ends with the result.
std::unique_ptr<::tests::Program> startPrivateBus(const std::filesystem::path& folder);

} // namespace platform::tests
