// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The distance of a large number from the nearest multiple of pi, by as many bits of 1 / pi as it
// takes (Payne and Hanek, "Radian reduction for trigonometric functions", 1983).
#pragma once
#pragma clang system_header

#include <sl42_rounding.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

namespace __sl42 {

/// Up to here a few parts of pi do.
inline constexpr float farFromZero = 2e4f;

/// The bits of 1 / pi behind the point, after 32 zeros.
inline constexpr uint inversePi[8] = {0,           0x517cc1b7u, 0x27220a94u, 0xfe13abe8u,
                                      0xfa9a6ee0u, 0x6db14accu, 0x9e21c820u, 0xff28b1d5u};

struct PiMultiple {
    float rest; ///< within pi / 2; NaN where there is none
    bool isOdd;
};

/// The 32 bits of 1 / pi from bit `bit` of the table on.
constexpr ulong inversePiBits(uint bit) {
    const ulong pair = ulong(inversePi[bit >> 5]) << 32 | inversePi[(bit >> 5) + 1];
    return uint(pair << (bit & 31) >> 32);
}

/// Of |x| + halves * pi / 2, |x| >= 1: |x| = m * 2^(e - 31). Bits of 1 / pi that make nothing but
/// even multiples are left out, and 96 others are enough for every float; the product has the
/// weight of 1 in its highest bit.
constexpr PiMultiple piMultiple(float x, uint halves) {
    const uint bits = bitsOf(x);
    const int exponent = int(bits >> 23 & 0xff) - 127;
    const uint e = uint(exponent > 127 ? 127 : exponent);
    const ulong m = (bits & 0x7fffffu) << 8 | 0x80000000u;
    const ulong low = m * inversePiBits(e + 64);
    const ulong middle = m * inversePiBits(e + 32) + (low >> 32);
    const ulong high = m * inversePiBits(e) + (middle >> 32);
    const ulong multiple = (high << 32 | uint(middle)) + (ulong(halves) << 62);
    const float rest = float(long(multiple << 1)) * 1.70306079e-19f; // pi / 2^64
    return {exponent > 127 ? x - x : rest, ((multiple >> 63 ^ multiple >> 62) & 1) != 0};
}

} // namespace __sl42

#pragma clang attribute pop
#pragma clang attribute pop
