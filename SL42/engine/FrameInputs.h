// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a frame is made from. A frame with the inputs of the one before would repeat the picture and
// leave the machine as it is, so it need not be run.
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

/// The inputs that the kernel `all.video` reads; the others become zero. None when equal inputs
/// could give another frame, because the kernel writes more than its picture or reads what changes
/// without being counted. Only for frames that no other kernel takes part in.
std::optional<FrameInputs> inputsSeen(FrameInputs all);

} // namespace starloom
