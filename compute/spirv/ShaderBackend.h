// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From a program and the name of a kernel to a shader that any Vulkan device runs.
#pragma once

#include "compute/kernel/CompilerOptions.h"
#include "compute/kernel/Program.h"
#include "compute/kernel/pipeline/Canonical.h"
#include "compute/spirv/ShaderInterface.h"
#include "platform/base/Result.h"

#include <stop_token>
#include <string_view>

namespace compute::spirv {

struct TranslatedKernel {
    Shader shader;
    std::vector<Parameter> parameters; ///< with their accesses
    double optimiserMilliseconds = 0;
    double translationMilliseconds = 0;
};

/// Several threads may do so on one program at the same time. The error is the program's fault, in
/// words for people. Code after each pass and the module as text go to `dump` unless that is null.
/// A debug build also validates the module.
platform::Result<TranslatedKernel>
translate(const kernel::Program& program, std::string_view name, const ConstantValues& constants,
          const Features& features, const kernel::CompilerOptions& options = {},
          const kernel::Dump* dump = nullptr, const std::stop_token& stop = {});

} // namespace compute::spirv
