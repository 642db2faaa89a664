// SPDX-License-Identifier: MIT
// The pragmas as operators, which macros can hold: the rounding error of a product and a sum.
// grid 4 group 4
// buffer 0: in float[4] = 1 + (i + 1) / 3
// buffer 1: out float[4] == f32(f32(b0[i] * b0[i]) - f32(2 * b0[i]))
// buffer 2: out float[4] == f32(f32(f32(b0[i] + 1e4) - 1e4) - b0[i])
#include <metal_stdlib>
using namespace metal;

#define EXACTLY _Pragma("METAL fp math_mode(safe)") _Pragma("METAL fp contract(off)")

static float difference(float a, float b) {
    EXACTLY
    return a * a - b;
}

static float lost(float a) {
    _Pragma ( "METAL fp math_mode( safe )" )
    const float sum = a + 1e4f;
    return (sum - 1e4f) - a;
}

kernel void errors(device const float* a [[buffer(0)]], device float* b [[buffer(1)]],
                   device float* c [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    b[id] = difference(a[id], 2 * a[id]);
    c[id] = lost(a[id]);
}
