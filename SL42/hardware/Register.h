// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The hardware registers that the host reads. Programs see the same names and numbers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace starloom {

/// Index of the register's byte; the bytes after these are free for programs.
enum class Register : std::uint8_t {
    ColorMode = 0,    ///< 0 RGB, 1 YUV
    BlendMode = 1,    ///< 0 alpha, 1 replace, 2 add
    HDR = 2,          ///< nonzero: colours above 1 are not clamped
    MousePointer = 3, ///< nonzero: hidden over the view
};

/// What these registers held at the end of a frame. It governs the next one.
struct RegisterValues {
    std::array<std::uint8_t, 4> bytes{};
    bool operator==(const RegisterValues&) const = default;

    std::uint8_t operator[](Register index) const { return bytes[static_cast<std::size_t>(index)]; }
};

} // namespace starloom
