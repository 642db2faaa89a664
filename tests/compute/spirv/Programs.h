// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Programs of the shading language as shaders, for tests: as text, and run on a device.
#pragma once

#include "compute/kernel/Program.h"
#include "compute/spirv/ShaderBackend.h"
#include "tests/compute/spirv/ShaderRunner.h"

#include <string>
#include <string_view>
#include <vector>

namespace tests {

/// A program's text without its first two lines. Throws the compiler's message.
compute::kernel::Program programOf(const std::string& text);

/// The kernel `k`, valid by the rules of SPIR-V; else throws what is wrong.
compute::spirv::Shader shaderOf(const std::string& text,
                                const compute::spirv::Features& features = {.float64 = true});

/// The same as assembly.
std::string assemblyOf(const std::string& text,
                       const compute::spirv::Features& features = {.float64 = true});

/// The device of the tests. Throws when there is none: nothing may be skipped silently.
ShaderRunner& device();

/// Runs `k` on `threads` threads, in threadgroups of `group`, with buffers 0, 1, ... that hold and
/// receive these words.
void runShader(const compute::spirv::Shader& shader,
               std::vector<std::vector<std::uint32_t>*> buffers, std::uint32_t threads,
               std::uint32_t group = 32);
/// The same of a text, for the device of the tests.
void runShader(const std::string& text, std::vector<std::vector<std::uint32_t>*> buffers,
               std::uint32_t threads, std::uint32_t group = 32);

} // namespace tests
