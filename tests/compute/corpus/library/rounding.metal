// SPDX-License-Identifier: MIT
// All ways to round, and to take numbers apart.
// grid 48 group 16
// buffer 0: in float[48] = (i - 24) * 0.25
// buffer 1: out float4[48] == (floor(b0[i]), ceil(b0[i]), trunc(b0[i]), round(b0[i]))
// buffer 2: out float4[48] == (copysign(floor(abs(b0[i]) + 0.5), b0[i]), b0[i] - floor(b0[i]), modf(b0[i])[0], modf(b0[i])[1])
// buffer 3: out float2[48] == (frexp(b0[i])[0], ldexp(b0[i], 3))
// buffer 4: out int2[48] == (frexp(b0[i])[1], 0 if b0[i] == 0 else frexp(b0[i])[1] - 1)
#include <metal_stdlib>
using namespace metal;

kernel void roundings(device const float* in [[buffer(0)]], device float4* a [[buffer(1)]],
                      device float4* b [[buffer(2)]], device float2* c [[buffer(3)]],
                      device int2* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    const float x = in[id];
    a[id] = float4(floor(x), ceil(x), trunc(x), rint(x));
    float whole;
    float part = modf(x, whole);
    b[id] = float4(round(x), fract(x), part, whole);
    int exponent;
    float mantissa = frexp(x, exponent);
    c[id] = float2(mantissa, ldexp(x, 3));
    d[id] = int2(exponent, x == 0 ? 0 : ilogb(x));
}
