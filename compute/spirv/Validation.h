// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the tools of SPIR-V's makers say about a module: whether it keeps the rules, and how it
// reads as text.
#pragma once

#include "platform/base/Result.h"

#include <cstdint>
#include <span>
#include <string>

namespace compute::spirv {

/// By the rules for Vulkan 1.2. The error is the validator's own.
platform::Result<void> validate(std::span<const std::uint32_t> words);

/// As assembly, with names instead of numbers where there are any.
std::string disassemble(std::span<const std::uint32_t> words);

} // namespace compute::spirv
