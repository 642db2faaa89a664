// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Mixtures of half, float and integers; boolean vectors; limits and constants; integer functions.
#include <metal_stdlib>
using namespace metal;

kernel void mixtures(device float* out [[buffer(0)]], constant half& h [[buffer(1)]],
                     constant int& i [[buffer(2)]], constant uint& u [[buffer(3)]],
                     uint id [[thread_position_in_grid]]) {
    float x = out[id];
    x += max(h, 0.0) + max(h, 0.5h) + pow(2, x) + pow(x, 2) + pow(x, 1 / 2.2) + sign(i);
    x += clamp(x, 0, 1) + min(i, 1) + max(u, 3u) + max(u, 3) + min(x, 1) + clamp(i, 0, 255);
    x += abs(i) + abs(x - 3) + sqrt(2) + sqrt(float(i)) + floor(x) + fmod(x, 2) + (i % 3);
    x += step(0, x) + smoothstep(0, 1, x) + mix(0, 1, x) + mix(0., x, .5) + saturate(x * 2 - 1);
    x += exp(-x * 3) + log(1 + x) + exp2(3) + atan2(x, 1) + fract(x + .5) + rint(x) + round(x);
    x += h * x + 2 * h + h / 3 + (h > 0.5 ? 1 : 0) + (i > 0 && x < 1) + float(id % 4u);
    x += precise::sin(x) + fast::cos(x) + metal::tan(x) + cospi(x) + asin(x) + acos(x) + tanh(x);

    half3 color = half3(x, h, 0.5);
    color = max(color, 0.0h) * 2 + 1.0h;
    color = mix(color, half3(1, 0, 0), h);
    color = clamp(color, 0, 1);
    color.g = smoothstep(0.2h, 0.8h, color.r);
    half lum = dot(color, half3(0.299, 0.587, 0.114));

    float3 v = float3(color);
    bool3 low = v < 0.5;
    bool3 other = !low || v > x;
    v = select(v, float3(1), low && other);
    v = pow(v, 1 / 2.2) + powr(v, 1 / 2.4) + fmod(v, 2) + smoothstep(.1, 0, v) + min(v, 1.);
    v = v.x > 1 ? 0.2 : 0.8;
    v = select(v, v * 2, v == 0);
    x += any(low) + all(other) + low.x + float(low.y) + (isnan(x) || isinf(x) ? 1 : 0);
    v = select(float3(0.), v, isfinite(v));

    uint bits = as_type<uint>(x);
    bits ^= bits << 13;
    bits ^= bits >> 17;
    bits = extract_bits(bits, 3, 9) | insert_bits(0u, bits, 4, 5);
    bits += popcount(bits) + clz(bits) + ctz(bits) + reverse_bits(bits) + rotate(bits, 7u);
    bits += mulhi(bits, 0x9E3779B9u) + addsat(bits, 1u) + absdiff(i, 3) + mad24(i, 2, 3);
    x += as_type<float>((bits & 0x007FFFFF) | 0x3F800000) - 1;
    uint2 pair = uint2(bits, id);
    pair = (pair * 1664525u + 1013904223u) ^ (pair.yx >> 16);
    x += float(pair.x) / float(UINT_MAX) + float(pair.y & 0xffff) * (1.0 / 65535.0);
    uchar4 bytes = as_type<uchar4>(bits);
    char small = char(bytes.x) - 1;
    short mid = short(small) * 3;

    float limits = FLT_MAX + FLT_EPSILON + float(INT_MAX) + numeric_limits<float>::max() +
                   numeric_limits<int>::min() + M_PI_F + M_E_F + float(M_PI_H) + INFINITY + NAN +
                   float(HALF_MAX) + MAXFLOAT + float(USHRT_MAX) + M_SQRT2_F;
    int exponent;
    float whole;
    x += frexp(x, exponent) + modf(x, whole) + ldexp(x, 3) + fma(x, 2, 1) + float(ilogb(x));
    float c;
    x += sincos(x, c) + c + trunc(x) + ceil(x) + copysign(x, -1) + fdim(x, 1) + rsqrt(x + 2);
    x += min3(x, 1, 2) + max3(x, 1, h) + median3(x, 2, 3) + fmin(x, 1) + fmax(x, h);
    out[id + 1] = limits;
    out[id] = x + lum + v.x + whole + exponent + mid + c;
}
