// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the kernel pipeline is told about processors that it does not know: Vulkan devices. A target
// of LLVM that generates no code: 64-bit pointers, no vectors, no unaligned words.
#pragma once

#include <llvm/Target/TargetMachine.h>

#include <memory>

namespace compute::spirv {

/// For one job at a time.
std::unique_ptr<llvm::TargetMachine> makeShaderTarget();

} // namespace compute::spirv
