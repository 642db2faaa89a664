// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The hardware registers that the host reads. Programs see the same names and numbers.
#pragma once

#include <cstdint>

namespace starloom {

/// Index of the register's byte; the bytes after these are free for programs.
enum class Register : std::uint8_t {
    ColorMode = 0,    ///< 0 RGB, 1 YUV
    BlendMode = 1,    ///< 0 alpha, 1 replace, 2 add
    HDR = 2,          ///< nonzero: colours above 1 are not clamped
    MousePointer = 3, ///< nonzero: hidden over the view
};

} // namespace starloom
