// SPDX-License-Identifier: MIT
// Exponential and logarithmic functions.
// grid 64 group 32
// buffer 0: in float[64] = 0.01 + i * 0.37
// buffer 1: out float4[64] ~= (exp(-b0[i]), 2 ** (b0[i] / 4), 10 ** (-b0[i] / 10), log(b0[i]))
// buffer 2: out float4[64] ~= (log2(b0[i]), log10(b0[i]), b0[i] ** 0.3, sqrt(b0[i]))
// buffer 3: out float2[64] ~= (1 / sqrt(b0[i]), b0[i] ** -1.5) within 2e-4
#include <metal_stdlib>
using namespace metal;

kernel void exponentials(device const float* in [[buffer(0)]], device float4* a [[buffer(1)]],
                         device float4* b [[buffer(2)]], device float2* c [[buffer(3)]],
                         uint id [[thread_position_in_grid]]) {
    const float x = in[id];
    a[id] = float4(exp(-x), exp2(x / 4), exp10(-x / 10), log(x));
    b[id] = float4(log2(x), log10(x), powr(x, 0.3), sqrt(x));
    c[id] = float2(rsqrt(x), pow(x, -1.5f));
}
