// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs the command line as a person would.
#pragma once

#include "tests/Program.h"
#include "tests/ScratchFolder.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace cli::tests {

using ::tests::contentsOf;
using ::tests::ScratchFolder;

struct Outcome {
    /// The exit status, or minus the number of the signal that ended it.
    int status = 0;
    std::string out;
    std::string err;
};

/// Runs `starloom` from the build folder, does `meanwhile` after the start, and waits for the end.
Outcome runStarloom(std::vector<std::string> arguments, std::string_view input = {},
                    const std::function<void(::tests::Program&)>& meanwhile = {});

std::filesystem::path sourceFolder();
std::filesystem::path buildFolder();

} // namespace cli::tests
