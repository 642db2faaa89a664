// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The cpu stage: runs the program's cpu() on every core, once a frame.
#pragma once

#include "SL42/engine/Fallback.h"
#include "SL42/hardware/MachineBuffers.h"
#include "Shader/ComputeShader.h"

#include <memory>

namespace starloom {

/// Main thread.
class CPU {
public:
    static constexpr std::uint32_t coreCount = 4096;

    /// Encodes the kernel, or nothing when there is none that may be run. Returns the one encoded.
    std::shared_ptr<ComputeShader> run(gpu::CommandBuffer& commandBuffer,
                                       const RenderData& renderData) const;

    /// Empty while no program with a cpu() has compiled.
    Fallback<ComputeShader> shader;
};

} // namespace starloom
