// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Exponentials, logarithms, powers and the hyperbolic functions. Straight-line code: the exponent
// of the number is split off, minimax polynomials (fitted by Remez exchange) do the rest. Results
// below the smallest normal number are zero, arguments below it count as zero.
#pragma once
#pragma clang system_header

#include <sl42_trigonometry.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

namespace __sl42 {

inline constexpr float infinity = __builtin_inff();
inline constexpr float smallestNormal = 0x1p-126f;
// ln 2 = ln2High + ln2Low; ln2High has ten bits.
inline constexpr float ln2 = 0.693147180559945f;
inline constexpr float ln2High = 0.693359375f;
inline constexpr float ln2Low = -2.121944401e-4f;
inline constexpr float log2e = 1.44269504088896f;

/// exp(r) for |r| <= ln 2 / 2; relative error of the polynomial 3.2e-9.
constexpr float expPolynomial(float r) {
#pragma clang fp reassociate(off) contract(fast)
    float p = 1.395060797e-3f;
    p = p * r + 8.368953131e-3f;
    p = p * r + 4.166620597e-2f;
    p = p * r + 1.666651815e-1f;
    p = p * r + 0.5f;
    return 1.0f + (r + (r * r) * p);
}

/// 2^r for |r| <= 1 / 2; relative error of the polynomial 2e-9.
constexpr float exp2Polynomial(float r) {
#pragma clang fp reassociate(off) contract(fast)
    float p = 1.547640131e-4f;
    p = p * r + 1.340040355e-3f;
    p = p * r + 9.618003853e-3f;
    p = p * r + 5.550327525e-2f;
    p = p * r + 2.402265072e-1f;
    p = p * r + 6.931471825e-1f;
    return 1.0f + r * p;
}

/// p * 2^n for the n that roundingShift was added to, by adding to the exponent.
constexpr float scale(float p, float shifted) {
    return floatOf(bitsOf(p) + (bitsOf(shifted) << 23));
}

/// A positive normal number as m * 2^exponent with m in [sqrt(1/2), sqrt(2)).
struct Split {
    float m;
    float exponent;
};
constexpr Split split(float x) {
    constexpr uint rootHalf = 0x3f3504f3u;
    const uint bits = bitsOf(x) - rootHalf;
    return {floatOf((bits & 0x7fffffu) + rootHalf), float(int(bits) >> 23)};
}

/// log(1 + f) for 1 + f in [sqrt(1/2), sqrt(2)) is f - tail; relative error of the polynomial 6e-9.
constexpr float logTail(float f) {
#pragma clang fp reassociate(off) contract(fast)
    float p = -7.859692723e-2f;
    p = p * f + 1.288167536e-1f;
    p = p * f - 1.312873811e-1f;
    p = p * f + 1.418118775e-1f;
    p = p * f - 1.662455499e-1f;
    p = p * f + 2.000228614e-1f;
    p = p * f - 2.500081062e-1f;
    p = p * f + 3.333331645e-1f;
    return (f * f) * (0.5f - f * p);
}

/// What a logarithm gives for arguments that are no positive normal number.
constexpr float logResult(float x, float y) {
    y = x < smallestNormal ? -infinity : y;
    y = x < 0.0f ? __builtin_nanf("") : y;
    return x < infinity ? y : x;
}

/// The upper twelve bits of the significand: products of two such numbers are exact.
constexpr float upperHalf(float x) {
    return floatOf(bitsOf(x) & 0xfffff000u);
}

/// A number as the sum of two, about 2^-31 exact.
struct Pair {
    float high;
    float low;
};

/// log2(x) of a positive normal number. With s = f / (2 + f), log(1 + f) = 2 s + s^3 P(s^2); s is
/// found to more than float precision from the remainder of its division.
constexpr Pair log2Pair(float x) {
#pragma clang fp reassociate(off) contract(fast)
    const Split parts = split(x);
    const float f = parts.m - 1.0f;
    const float d = parts.m + 1.0f;
    const float inverse = 1.0f / d;
    const float s = f * inverse;
    const float sHigh = upperHalf(s);
    const float dHigh = upperHalf(d);
    const float dLow = parts.m - (dHigh - 1.0f);
    const float sLow = ((f - sHigh * dHigh) - sHigh * dLow) * inverse;
    const float q = s * s;
    const float p = (2.988520563e-1f * q + 3.997707963e-1f) * q + 6.666678190e-1f;
    const float tail = 2.0f * sLow + (s * q) * p;
    // 2 log2(e) = 2.8847656 (twelve bits) + rest
    constexpr float twoLog2eHigh = 2.884765625f;
    constexpr float twoLog2eLow = 6.24456777927e-4f;
    const float lead = sHigh * twoLog2eHigh;
    const float high = parts.exponent + lead;
    const float lost = (parts.exponent - high) + lead;
    return {high, lost + (sHigh * twoLog2eLow + tail * log2e)};
}

/// |x|^y for a normal x and any y.
constexpr float powMagnitude(float x, float y) {
#pragma clang fp reassociate(off) contract(fast)
    const Pair l = log2Pair(x);
    // Beyond this the result is 0, 1 or infinite all the same, and the products stay finite.
    y = y > 4.0e9f ? 4.0e9f : y;
    y = y < -4.0e9f ? -4.0e9f : y;
    const float yHigh = upperHalf(y);
    const float lHigh = upperHalf(l.high);
    const float lead = yHigh * lHigh;
    const float rest = yHigh * (l.high - lHigh) + ((y - yHigh) * l.high + y * l.low);
    const float product = lead + rest;
    const float shifted = product + roundingShift;
    const float n = shifted - roundingShift;
    float r = scale(exp2Polynomial((lead - n) + rest), shifted);
    r = product >= 128.0f ? infinity : r;
    return product < -126.0f ? 0.0f : r;
}

/// |x|^y, also for zero, infinite and NaN x. Small whole powers cost their multiplications when y
/// is a constant, and are exact to one rounding each.
constexpr float powOfMagnitude(float x, float y) {
    const float a = metal::fabs(x);
    // Zero (and what counts as zero), infinity and NaN in one comparison.
    const bool atEnd = bitsOf(a) - 0x00800000u >= 0x7f000000u;
    float r = powMagnitude(a, y);
    r = atEnd ? ((a > 1.0f) == (y > 0.0f) ? infinity : 0.0f) : r;
    r = a <= infinity ? r : a;
    const float square = a * a;
    r = y == 2.0f ? square : r;
    r = y == 3.0f ? square * a : r;
    r = y == 4.0f ? square * square : r;
    r = y == 5.0f ? square * square * a : r;
    return r;
}

/// log(1 + u) without losing the low bits of u; 4 ulp for u > -1.
constexpr float log1p(float u);

} // namespace __sl42

namespace metal {

/// 2 ulp.
constexpr float exp(float x) {
#pragma clang fp reassociate(off) contract(fast)
    const float shifted = x * __sl42::log2e + __sl42::roundingShift;
    const float n = shifted - __sl42::roundingShift;
    const float r = (x - n * __sl42::ln2High) - n * __sl42::ln2Low;
    float y = __sl42::scale(__sl42::expPolynomial(r), shifted);
    y = x > 88.722839f ? __sl42::infinity : y;
    return x < -87.336544f ? 0.0f : y;
}
/// 2 ulp.
constexpr float exp2(float x) {
#pragma clang fp reassociate(off) contract(fast)
    const float shifted = x + __sl42::roundingShift;
    const float n = shifted - __sl42::roundingShift;
    float y = __sl42::scale(__sl42::exp2Polynomial(x - n), shifted);
    y = x >= 128.0f ? __sl42::infinity : y;
    return x < -126.0f ? 0.0f : y;
}
/// 3 ulp. log10(2) is subtracted in two parts.
constexpr float exp10(float x) {
#pragma clang fp reassociate(off) contract(fast)
    const float shifted = x * 3.32192809488736f + __sl42::roundingShift;
    const float n = shifted - __sl42::roundingShift;
    const float r = (x - n * 0.301025390625f) - n * 4.605038981e-6f;
    float y = __sl42::scale(__sl42::expPolynomial(r * 2.30258509299405f), shifted);
    y = x > 38.531839f ? __sl42::infinity : y;
    return x < -37.929779f ? 0.0f : y;
}

/// 2 ulp.
constexpr float log(float x) {
#pragma clang fp reassociate(off) contract(fast)
    const __sl42::Split parts = __sl42::split(x);
    const float f = parts.m - 1.0f;
    const float tail = __sl42::logTail(f) - parts.exponent * __sl42::ln2Low;
    return __sl42::logResult(x, parts.exponent * __sl42::ln2High + (f - tail));
}
/// 3 ulp; exact for powers of two.
constexpr float log2(float x) {
#pragma clang fp reassociate(off) contract(fast)
    const __sl42::Split parts = __sl42::split(x);
    const float f = parts.m - 1.0f;
    const float tail = __sl42::logTail(f);
    // log2(e) = 1 + 0.4426...: the leading part is not rounded.
    const float rest = 0.44269504088896f * (f - tail) - tail;
    return __sl42::logResult(x, parts.exponent + (f + rest));
}
/// 3 ulp.
constexpr float log10(float x) {
#pragma clang fp reassociate(off) contract(fast)
    const __sl42::Split parts = __sl42::split(x);
    const float f = parts.m - 1.0f;
    const float l = f - __sl42::logTail(f);
    const float rest = parts.exponent * 4.605038981e-6f + l * 0.434294481903252f;
    return __sl42::logResult(x, parts.exponent * 0.301025390625f + rest);
}

/// x^y for x >= 0, NaN below. 4 ulp.
constexpr float powr(float x, float y) {
    const float r = __sl42::powOfMagnitude(x, y);
    return x < 0.0f ? __builtin_nanf("") : r;
}
/// x^y; for a negative x only a whole y has a result. pow(x, 0) is 1. 4 ulp.
constexpr float pow(float x, float y) {
#pragma clang fp reassociate(off)
    float r = __sl42::powOfMagnitude(x, y);
    const float halfY = 0.5f * y;
    const float signedResult = rint(halfY) == halfY ? r : -r;
    r = x < 0.0f ? (rint(y) == y ? signedResult : __builtin_nanf("")) : r;
    return y == 0.0f ? 1.0f : r;
}

SL42_FLOATS_1(exp)
SL42_FLOATS_1(exp2)
SL42_FLOATS_1(exp10)
SL42_FLOATS_1(log)
SL42_FLOATS_1(log2)
SL42_FLOATS_1(log10)
SL42_FLOATS_2(pow)
SL42_FLOATS_2(powr)

} // namespace metal

namespace __sl42 {

constexpr float log1p(float u) {
#pragma clang fp reassociate(off)
    const float w = 1.0f + u;
    const float y = metal::log(w) + (u - (w - 1.0f)) / w;
    return w == 1.0f ? u : (w == infinity ? w : y);
}

} // namespace __sl42

namespace metal {

/// 4 ulp; overflows only where the result does, by squaring exp(x / 2).
constexpr float cosh(float x) {
#pragma clang fp reassociate(off) contract(fast)
    const float e = exp(0.5f * fabs(x));
    return (0.5f * e) * e + (0.5f / e) / e;
}
constexpr float sinh(float x) {
#pragma clang fp reassociate(off) contract(fast)
    const float a = fabs(x);
    const float e = exp(0.5f * a);
    const float s = x * x;
    float p = 2.817440190e-6f;
    p = p * s + 1.983606635e-4f;
    p = p * s + 8.333350532e-3f;
    p = p * s + 1.666666716e-1f;
    const float near = a + (a * s) * p;
    return copysign(a < 1.0f ? near : (0.5f * e) * e - (0.5f / e) / e, x);
}
constexpr float tanh(float x) {
#pragma clang fp reassociate(off) contract(fast)
    const float a = fabs(x);
    const float s = x * x;
    float p = -5.717044231e-3f;
    p = p * s + 2.065058798e-2f;
    p = p * s - 5.374350026e-2f;
    p = p * s + 1.333149076e-1f;
    p = p * s - 3.333328366e-1f;
    const float near = a + (a * s) * p;
    return copysign(a < 0.625f ? near : 1.0f - 2.0f / (exp(2.0f * a) + 1.0f), x);
}
/// 4 ulp. Squares are kept from overflowing; beyond 2^30 the root is |x| itself.
constexpr float asinh(float x) {
    const float a = fabs(x);
    const float b = a < 0x1p30f ? a : 0x1p30f;
    const float near = __sl42::log1p(b + b * b / (1.0f + sqrt(b * b + 1.0f)));
    return copysign(a < 0x1p30f ? near : log(a) + __sl42::ln2, x);
}
constexpr float acosh(float x) {
    const float t = (x < 0x1p30f ? x : 0x1p30f) - 1.0f;
    const float near = __sl42::log1p(t + sqrt(2.0f * t + t * t));
    const float y = x < 0x1p30f ? near : log(x) + __sl42::ln2;
    return x >= 1.0f ? y : __builtin_nanf("");
}
constexpr float atanh(float x) {
    const float a = fabs(x);
    return copysign(0.5f * __sl42::log1p(2.0f * a / (1.0f - a)), x);
}

SL42_FLOATS_1(sinh)
SL42_FLOATS_1(cosh)
SL42_FLOATS_1(tanh)
SL42_FLOATS_1(asinh)
SL42_FLOATS_1(acosh)
SL42_FLOATS_1(atanh)

} // namespace metal

#pragma clang attribute pop
#pragma clang attribute pop
