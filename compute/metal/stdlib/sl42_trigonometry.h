// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Circular functions and their inverses. Straight-line code: the argument is reduced by a multiple
// of pi that is subtracted in parts (Cody and Waite), then a minimax polynomial (fitted by Remez
// exchange) gives the value. The parts of pi have so few bits that their products with the multiple
// are exact even without fused multiply-add. Errors are those that the tests allow.
#pragma once
#pragma clang system_header

#include <sl42_reduction.h>
#include <sl42_rounding.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

namespace __sl42 {

/// Adding 1.5 * 2^23 rounds to an integer, whose lowest bits are then those of the sum.
inline constexpr float roundingShift = 12582912.0f;
inline constexpr float pi = 3.14159265358979f;
inline constexpr float halfPi = 1.57079632679490f;
// pi = piHigh + piMiddle + piLow to 43 bits; piRest = pi - piHigh.
inline constexpr float piHigh = 3.140625f;
inline constexpr float piRest = 9.676535847e-4f;
inline constexpr float piMiddle = 9.67502593994140625e-4f;
inline constexpr float piLow = 1.509957991e-7f;

/// sin(r) for |r| <= pi / 2; relative error of the polynomial 6.1e-9.
constexpr float sinPolynomial(float r) {
#pragma clang fp reassociate(off) contract(fast)
    const float s = r * r;
    float p = 2.605632289e-6f;
    p = p * s - 1.980953966e-4f;
    p = p * s + 8.333065547e-3f;
    p = p * s - 1.666665971e-1f;
    return r + (r * s) * p;
}

/// Keeps the reduced argument where the polynomial is good, so that a sine never leaves [-1, 1]
/// even when the reduction has run out of bits (|x| above 2^22); NaN passes. The limit is a little
/// more than pi / 2 because far from zero the multiple can be off by a little.
constexpr float clampReduced(float r) {
    r = r < -1.6f ? -1.6f : r;
    return r > 1.6f ? 1.6f : r;
}

/// r * (-1)^n for the n that roundingShift was added to.
constexpr float flipIfOdd(float r, float shifted) {
    return floatOf(bitsOf(r) ^ (bitsOf(shifted) << 31));
}

/// x - n * pi in two parts.
constexpr float reduceFast(float x, float n) {
#pragma clang fp reassociate(off) contract(fast)
    return (x - n * piHigh) - n * piRest;
}
/// x - n * pi in three parts.
constexpr float reducePrecise(float x, float n) {
#pragma clang fp reassociate(off) contract(fast)
    return ((x - n * piHigh) - n * piMiddle) - n * piLow;
}

template <bool precise>
constexpr float sine(float x) {
#pragma clang fp reassociate(off) contract(fast)
    if (precise && metal::fabs(x) > farFromZero) {
        const PiMultiple m = piMultiple(x, 0);
        return sinPolynomial(m.isOdd != (x < 0.0f) ? -m.rest : m.rest);
    }
    const float shifted = x * 0.318309886183791f + roundingShift;
    const float n = shifted - roundingShift;
    const float r = precise ? reducePrecise(x, n) : reduceFast(x, n);
    return sinPolynomial(flipIfOdd(clampReduced(r), shifted));
}

/// cos(x) = sin(x + pi / 2), reduced by the odd multiples of pi / 2.
template <bool precise>
constexpr float cosine(float x) {
#pragma clang fp reassociate(off) contract(fast)
    if (precise && metal::fabs(x) > farFromZero) {
        const PiMultiple m = piMultiple(x, 1);
        return sinPolynomial(m.isOdd ? -m.rest : m.rest);
    }
    const float shifted = (x * 0.318309886183791f + 0.5f) + roundingShift;
    const float n = (shifted - roundingShift) - 0.5f;
    const float r = precise ? reducePrecise(x, n) : reduceFast(x, n);
    return sinPolynomial(flipIfOdd(clampReduced(r), shifted));
}

/// tan(r) for |r| <= pi / 4, the negated reciprocal for odd multiples of pi / 2; relative error of
/// the polynomial 1.8e-8.
template <bool precise>
constexpr float tangent(float x) {
#pragma clang fp reassociate(off) contract(fast)
    if (precise && metal::fabs(x) > farFromZero)
        return sine<true>(x) / cosine<true>(x);
    const float shifted = x * 0.636619772367581f + roundingShift;
    const float n = 0.5f * (shifted - roundingShift);
    float r = precise ? reducePrecise(x, n) : reduceFast(x, n);
    r = clampReduced(r);
    const float s = r * r;
    float p = 9.395908564e-3f;
    p = p * s + 3.102418967e-3f;
    p = p * s + 2.444089390e-2f;
    p = p * s + 5.340830982e-2f;
    p = p * s + 1.333883554e-1f;
    p = p * s + 3.333315551e-1f;
    const float t = r + (r * s) * p;
    return (bitsOf(shifted) & 1) != 0 ? -1.0f / t : t;
}

/// atan(t) for |t| <= 1; relative error of the polynomial 1.7e-8.
constexpr float atanPolynomial(float t) {
#pragma clang fp reassociate(off) contract(fast)
    const float s = t * t;
    float p = 2.920573810e-3f;
    p = p * s - 1.636742614e-2f;
    p = p * s + 4.321099073e-2f;
    p = p * s - 7.552134246e-2f;
    p = p * s + 1.066596359e-1f;
    p = p * s - 1.421104372e-1f;
    p = p * s + 1.999377161e-1f;
    p = p * s - 3.333315253e-1f;
    return t + (t * s) * p;
}

/// asin(t) for |t| <= 1/2, given s = t * t; relative error of the polynomial 5e-9.
constexpr float asinPolynomial(float t, float s) {
#pragma clang fp reassociate(off) contract(fast)
    float p = 4.227844998e-2f;
    p = p * s + 2.411451936e-2f;
    p = p * s + 4.548333213e-2f;
    p = p * s + 7.495196164e-2f;
    p = p * s + 1.666675508e-1f;
    return t + (t * s) * p;
}

/// sin(pi * x), cos(pi * x): the reduction is exact. 2 ulp.
constexpr float sinePi(float x) {
#pragma clang fp reassociate(off) contract(fast)
    const float n = metal::rint(x);
    const float odd = n - 2.0f * metal::floor(0.5f * n);
    const float s = sinPolynomial((x - n) * pi);
    return odd != 0.0f ? -s : s;
}
constexpr float cosinePi(float x) {
#pragma clang fp reassociate(off) contract(fast)
    const float a = metal::fabs(x);
    const float n = metal::floor(a);
    const float odd = n - 2.0f * metal::floor(0.5f * n);
    const float c = sinPolynomial((0.5f - (a - n)) * pi);
    return odd != 0.0f ? -c : c;
}

} // namespace __sl42

namespace metal {

/// Absolute error 2e-7 for |x| <= pi, 1e-5 up to 1e5; never outside [-1, 1].
constexpr float sin(float x) {
    return __sl42::sine<false>(x);
}
constexpr float cos(float x) {
    return __sl42::cosine<false>(x);
}
/// 4 ulp for |x| <= pi / 4.
constexpr float tan(float x) {
    return __sl42::tangent<false>(x);
}
constexpr float sinpi(float x) {
    return __sl42::sinePi(x);
}
constexpr float cospi(float x) {
    return __sl42::cosinePi(x);
}
constexpr float tanpi(float x) {
    return __sl42::sinePi(x) / __sl42::cosinePi(x);
}

/// 4 ulp. Beyond 1 by atan(x) = pi / 2 - atan(1 / x).
constexpr float atan(float x) {
    const float a = fabs(x);
    const bool inverted = a > 1.0f;
    const float r = __sl42::atanPolynomial(inverted ? 1.0f / a : a);
    return copysign(inverted ? __sl42::halfPi - r : r, x);
}

/// The angle of the point (x, y), in [-pi, pi]. 4 ulp; 0 at the origin.
constexpr float atan2(float y, float x) {
    const float ax = fabs(x);
    const float ay = fabs(y);
    const float low = ay < ax ? ay : ax;
    const float high = ay < ax ? ax : ay;
    float t = low / high;
    t = low == high ? 1.0f : t; // also both infinite
    t = high == 0.0f ? 0.0f : t;
    float r = __sl42::atanPolynomial(t);
    r = ay > ax ? __sl42::halfPi - r : r;
    r = int(__sl42::bitsOf(x)) < 0 ? __sl42::pi - r : r;
    return copysign(r, y);
}

/// 4 ulp; NaN outside [-1, 1]. Beyond a half by asin(x) = pi / 2 - 2 asin(sqrt((1 - x) / 2)).
constexpr float asin(float x) {
    const float a = fabs(x);
    const bool far = a > 0.5f;
    const float s = far ? 0.5f - 0.5f * a : a * a;
    const float r = __sl42::asinPolynomial(far ? sqrt(s) : a, s);
    return copysign(far ? __sl42::halfPi - 2.0f * r : r, x);
}
constexpr float acos(float x) {
    const float a = fabs(x);
    const bool far = a > 0.5f;
    const float s = far ? 0.5f - 0.5f * a : a * a;
    const float r = __sl42::asinPolynomial(far ? sqrt(s) : a, s);
    const float outer = x < 0.0f ? __sl42::pi - 2.0f * r : 2.0f * r;
    return far ? outer : __sl42::halfPi - copysign(r, x);
}

SL42_FLOATS_1(sin)
SL42_FLOATS_1(cos)
SL42_FLOATS_1(tan)
SL42_FLOATS_1(sinpi)
SL42_FLOATS_1(cospi)
SL42_FLOATS_1(tanpi)
SL42_FLOATS_1(asin)
SL42_FLOATS_1(acos)
SL42_FLOATS_1(atan)
SL42_FLOATS_2(atan2)

/// The sine, and the cosine through the reference.
#define SL42_SINCOS(T)                                                                             \
    constexpr T sincos(const T& x, T& cosine) {                                                    \
        cosine = cos(x);                                                                           \
        return sin(x);                                                                             \
    }
#define SL42_SINCOS_ALL(T) SL42_SINCOS(T) SL42_SINCOS(T##2) SL42_SINCOS(T##3) SL42_SINCOS(T##4)
SL42_FOR_FLOATS(SL42_SINCOS_ALL)

namespace precise {

/// 4 ulp for |x| up to 1000; absolute error 3e-7 up to 2e4, 1e-6 up to 1e5.
constexpr float sin(float x) {
    return __sl42::sine<true>(x);
}
constexpr float cos(float x) {
    return __sl42::cosine<true>(x);
}
constexpr float tan(float x) {
    return __sl42::tangent<true>(x);
}
SL42_FLOATS_1(sin)
SL42_FLOATS_1(cos)
SL42_FLOATS_1(tan)
SL42_FOR_FLOATS(SL42_SINCOS_ALL)

} // namespace precise

#undef SL42_SINCOS
#undef SL42_SINCOS_ALL

} // namespace metal

#pragma clang attribute pop
#pragma clang attribute pop
