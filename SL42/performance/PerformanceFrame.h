// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One frame of a performance: what the machine was given for it.
#pragma once

#include "SL42/input/FrameState.h"

#include <optional>
#include <string>

namespace starloom {

struct PerformanceFrame {
    /// Seconds since the first frame of the performance.
    double clock = 0;
    FrameState state{};
    /// The text of the program that the machine took over before this frame; none while it runs the
    /// one before. The first frame has one.
    std::optional<std::string> program{};
    /// The machine was reset before this frame.
    bool isReset = false;
    /// The song could be heard.
    bool songPlays = false;
};

} // namespace starloom
