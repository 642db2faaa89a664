// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Programs for tests, written as intermediate code the way the front end makes it.
#pragma once

#include "compute/kernel/CompilerOptions.h"
#include "compute/kernel/Program.h"
#include "compute/target/HostTarget.h"

#include <initializer_list>
#include <string>
#include <string_view>

namespace tests {

/// The processor at the SIMD width that the environment asks for.
const compute::target::HostTarget& hostTarget();

/// A program whose one kernel is the function `k` of the text.
compute::kernel::Program makeProgram(std::string_view text,
                                     std::vector<compute::Parameter> parameters);

compute::Parameter buffer(std::uint32_t index);
/// In the grid, along its width.
compute::Parameter position();

/// A function `k(ptr out, i32 x)` around the text of its body.
compute::kernel::Program makeOneDimensional(std::string_view body,
                                            std::string_view declarations = {});

/// The text `count` times, with the number of the copy for each # and that of the next for each $.
std::string repeated(std::string_view text, unsigned count);

} // namespace tests
