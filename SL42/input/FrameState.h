// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Everything from outside that one frame of the machine sees. Two machines that run the same
// programs and see the same states draw the same pictures.
#pragma once

#include "SL42/hardware/FFTValues.h"
#include "SL42/input/Keyboard.h"
#include "SL42/input/MouseValues.h"

#include <cstdint>

namespace starloom {

/// A plain value.
struct FrameState {
    float time = 0;           ///< seconds into the song
    std::uint32_t sample = 0; ///< position in the song
    KeyboardState keyboard{};
    MtlMouseDataStruct mouse{};
    FFTValues spectrum{};
};

} // namespace starloom
