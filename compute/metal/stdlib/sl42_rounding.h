// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The operations that the hardware has an instruction for: rounding, square root, magnitude, sign.
// Constant evaluation takes the slow branches, which leave no trace in the code.
#pragma once
#pragma clang system_header

#include <sl42_bits.h>
#include <sl42_overloads.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

namespace __sl42 {

/// From here on a float has no fraction (2^23).
inline constexpr float wholeFrom = 8388608.0f;

constexpr float truncConstant(float x) {
    return x > -wholeFrom && x < wholeFrom ? float(int(x)) : x;
}
constexpr float floorConstant(float x) {
    const float t = truncConstant(x);
    return t > x ? t - 1.0f : t;
}
constexpr float sqrtConstant(float x) {
    if (!(x > 0.0f) || x == __builtin_inff())
        return x == 0.0f || x > 0.0f ? x : __builtin_nanf("");
    double root = x > 1.0f ? x : 1.0;
    for (double next = 0.5 * (root + x / root); next < root; next = 0.5 * (root + x / root))
        root = next;
    return float(root);
}

} // namespace __sl42

namespace metal {

constexpr float fabs(float x) {
    return __builtin_fabsf(x);
}
constexpr float copysign(float x, float y) {
    return __builtin_copysignf(x, y);
}
constexpr float trunc(float x) {
    if (__builtin_is_constant_evaluated())
        return __sl42::truncConstant(x);
    return __builtin_truncf(x);
}
constexpr float floor(float x) {
    if (__builtin_is_constant_evaluated())
        return __sl42::floorConstant(x);
    return __builtin_floorf(x);
}
constexpr float ceil(float x) {
    if (__builtin_is_constant_evaluated())
        return -__sl42::floorConstant(-x);
    return __builtin_ceilf(x);
}
/// To the nearest integer, halves to the even one.
constexpr float rint(float x) {
    if (__builtin_is_constant_evaluated()) {
        const float f = __sl42::floorConstant(x);
        const float d = x - f;
        const bool odd = f != 2.0f * __sl42::floorConstant(0.5f * f);
        return d > 0.5f || (d == 0.5f && odd) ? f + 1.0f : f;
    }
    return __builtin_rintf(x);
}
/// To the nearest integer, halves away from zero. The constant is the largest float below a half,
/// so that 0.49999997 does not become 1.
constexpr float round(float x) {
    if (__builtin_is_constant_evaluated())
        return trunc(x + copysign(0.49999997f, x));
    return __builtin_roundf(x);
}
constexpr float sqrt(float x) {
    if (__builtin_is_constant_evaluated())
        return __sl42::sqrtConstant(x);
    return __builtin_sqrtf(x);
}
constexpr float rsqrt(float x) {
    return 1.0f / sqrt(x);
}
/// x - floor(x), kept below 1 for the small negative x where the difference rounds up to it.
constexpr float fract(float x) {
    const float f = x - floor(x);
    return f < 0x1.fffffep-1f ? f : 0x1.fffffep-1f;
}

SL42_FLOATS_1(fabs)
SL42_FLOATS_1(trunc)
SL42_FLOATS_1(floor)
SL42_FLOATS_1(ceil)
SL42_FLOATS_1(rint)
SL42_FLOATS_1(round)
SL42_FLOATS_1(sqrt)
SL42_FLOATS_1(rsqrt)
SL42_FLOATS_2(copysign)

// The largest half below 1 is not the largest float below 1.
constexpr half fract(half x) {
    const float f = fract(float(x));
    return half(f < 0x1.ffcp-1f ? f : 0x1.ffcp-1f);
}
SL42_MIXED_1(fract)
SL42_VECTORS_1(fract, half, half)
SL42_VECTORS_1(fract, float, float)

} // namespace metal

#pragma clang attribute pop
#pragma clang attribute pop
