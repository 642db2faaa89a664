// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a frame is made from. When the next one would be made from the same, it would repeat the
// picture and leave the machine as it is: nothing needs to run for it.
#pragma once

#include "SL42/hardware/MachineBuffers.h"
#include "Shader/ComputeShader.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace starloom {

struct FrameInputs {
    std::shared_ptr<ComputeShader> video; ///< null when no kernel draws
    MachineBuffers::BufferPtr registers;  ///< which tell one machine from that after a reset
    float time = 0;
    std::uint32_t sample = 0;
    std::uint64_t input = 0; ///< a count of changes of the spectrum, the mouse and the keyboard
    bool operator==(const FrameInputs&) const = default;
};

/// Of a frame that only `all.video` draws: what the kernel does not look at becomes zero. None when
/// frames depend on each other: the kernel writes more than its picture, or reads what may change
/// without a count.
std::optional<FrameInputs> inputsSeen(FrameInputs all);

} // namespace starloom
