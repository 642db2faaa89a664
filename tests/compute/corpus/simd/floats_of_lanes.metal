// SPDX-License-Identifier: MIT
// Extrema of numbers and of none, halves, and fused products beside functions of a SIMD-group.
// grid 64 group 32
// buffer 0: in float[64] = (i * 37 % 64) / 4 - 5
// buffer 1: out float[64] == max(b0[i], b0[i ^ 1])
// buffer 2: out float[64] == min(max(b0[i], 0), 3)
// buffer 3: out half[64] == f16(f16(b0[i]) * f16(1.1))
// buffer 4: out float[64] == b0[i] * b0[i ^ 1] + 0.5
#include <metal_stdlib>
using namespace metal;

kernel void lanes(device const float* in [[buffer(0)]], device float* larger [[buffer(1)]],
                  device float* clamped [[buffer(2)]], device half* halves [[buffer(3)]],
                  device float* products [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    const float x = in[id];
    const float other = simd_shuffle_xor(x, 1);
    larger[id] = max(max(x, as_type<float>(0x7fc00000u + id % 2)), other);
    clamped[id] = clamp(x, 0.0f, 3.0f);
    halves[id] = half(x) * half(1.1f);
    products[id] = fma(x, other, 0.5f);
}
