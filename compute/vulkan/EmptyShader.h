// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A shader that does nothing, with which a driver is warmed up.
#pragma once

#include <spirv/unified1/spirv.hpp>

#include <cstdint>

namespace compute::vulkan {

/// Of one instruction: how many words it has, and what it does.
constexpr std::uint32_t instruction(std::uint32_t words, spv::Op operation) {
    return words << spv::WordCountShift | operation;
}

/// void main() {}
inline constexpr std::uint32_t emptyShader[] = {spv::MagicNumber,
                                                0x10500,
                                                0,
                                                5,
                                                0, // version 1.5, ids below 5
                                                instruction(2, spv::OpCapability),
                                                spv::CapabilityShader,
                                                instruction(3, spv::OpMemoryModel),
                                                spv::AddressingModelLogical,
                                                spv::MemoryModelGLSL450,
                                                instruction(5, spv::OpEntryPoint),
                                                spv::ExecutionModelGLCompute,
                                                1,
                                                0x6E69616D,
                                                0, // "main"
                                                instruction(6, spv::OpExecutionMode),
                                                1,
                                                spv::ExecutionModeLocalSize,
                                                1,
                                                1,
                                                1,
                                                instruction(2, spv::OpTypeVoid),
                                                2,
                                                instruction(3, spv::OpTypeFunction),
                                                3,
                                                2,
                                                instruction(5, spv::OpFunction),
                                                2,
                                                1,
                                                spv::FunctionControlMaskNone,
                                                3,
                                                instruction(2, spv::OpLabel),
                                                4,
                                                instruction(1, spv::OpReturn),
                                                instruction(1, spv::OpFunctionEnd)};

} // namespace compute::vulkan
