// SPDX-License-Identifier: MIT
// Without contraction, a product is rounded before it is added.
// grid 32 group 32
// buffer 0: in float[32] = 1 + (2 * i + 1) * 2 ** -13
// buffer 1: out float[32] == f32(f32(b0[i] * b0[i]) - 1)

#include <metal_stdlib>
using namespace metal;

#pragma METAL fp contract(off)

kernel void square(device const float* in [[buffer(0)]], device float* out [[buffer(1)]],
                   uint id [[thread_position_in_grid]]) {
    out[id] = in[id] * in[id] - 1.0f;
}
