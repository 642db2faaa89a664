// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A frequency analysis, laid out as programs see it.
#pragma once

#include <array>

namespace starloom {

struct FFTValues {
    std::array<float, 256> raw{};
    std::array<float, 256> smoothed{};
    std::array<float, 256> integrated{};
};

static_assert(sizeof(FFTValues) == 3072);

} // namespace starloom
