// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The size of the console's screen. The shading-language texts spell out the same numbers.
#pragma once

#include <cstddef>
#include <cstdint>

namespace starloom {

inline constexpr std::uint32_t screenWidth = 960;
inline constexpr std::uint32_t screenHeight = 540;
/// Four half-precision components.
inline constexpr std::size_t screenPixelLength = 8;
/// Of one bank of screen memory, in bytes.
inline constexpr std::size_t screenBankLength =
    std::size_t{screenWidth} * screenHeight * screenPixelLength;

} // namespace starloom
