// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs the command line as a person would.
#pragma once

#include "tests/ScratchFolder.h"

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace cli::tests {

using ::tests::contentsOf;
using ::tests::ScratchFolder;

struct Outcome {
    /// The exit status, or minus the number of the signal that ended it.
    int status = 0;
    std::string out;
    std::string err;
};

/// Runs `starloom` from the build folder and waits for it. `meanwhile` is called with the number of
/// its process after the start.
Outcome runStarloom(const std::vector<std::string>& arguments, std::string_view input = {},
                    const std::function<void(pid_t)>& meanwhile = {});

std::filesystem::path sourceFolder();
std::filesystem::path buildFolder();

} // namespace cli::tests
