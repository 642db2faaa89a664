// SPDX-License-Identifier: MIT
// Sums and products with their exact errors: double-float arithmetic under safe mode.
// grid 32 group 32
// buffer 0: in float2[32] = (1 + i * f32(1e-3), f32(3.3e-8) * (i + 1))
// buffer 1: out float2[32] == two_sum(*b0[i])
// buffer 2: out float2[32] == two_product(b0[i][0], b0[i][0])
// python
// def two_sum(a, b): s = f32(a + b); return (s, f32(a + b - s))
// def two_product(a, b): p = f32(a * b); return (p, f32(a * b - p))
// end

#include <metal_stdlib>
using namespace metal;

static float2 twoSum(float a, float b) {
#pragma METAL fp math_mode(safe)
    const float s = a + b;
    const float v = s - a;
    return float2(s, (a - (s - v)) + (b - v));
}

static float2 twoProduct(float a, float b) {
#pragma METAL fp math_mode(safe)
#pragma METAL fp contract(off)
    const float p = a * b;
    const float t = 4097 * a, u = 4097 * b;
    const float ah = t - (t - a), bh = u - (u - b);
    const float al = a - ah, bl = b - bh;
    return float2(p, ((ah * bh - p) + ah * bl + al * bh) + al * bl);
}

kernel void pairs(device const float2* in [[buffer(0)]], device float2* a [[buffer(1)]],
                  device float2* b [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    a[id] = twoSum(in[id].x, in[id].y);
    b[id] = twoProduct(in[id].x, in[id].x);
}
