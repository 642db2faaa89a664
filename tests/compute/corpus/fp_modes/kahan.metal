// SPDX-License-Identifier: MIT
// Kahan's summation, whose correction must not be optimised away under safe.
// grid 4 group 4
// buffer 0: out float2[4] == (kahan(1000 * (i + 1)), naive(1000 * (i + 1)))
// python
// def kahan(n):
//     s = c = 0.0
//     for _ in range(n):
//         y = f32(f32(0.1) - c)
//         t = f32(s + y)
//         c = f32(f32(t - s) - y)
//         s = t
//     return s
// def naive(n):
//     s = 0.0
//     for _ in range(n): s = f32(s + f32(0.1))
//     return s
// end

#include <metal_stdlib>
using namespace metal;

#pragma METAL fp math_mode(safe)

static float kahan(uint n) {
    float sum = 0, correction = 0;
    for (uint k = 0; k < n; ++k) {
        const float y = 0.1f - correction;
        const float t = sum + y;
        correction = (t - sum) - y;
        sum = t;
    }
    return sum;
}

static float naive(uint n) {
    float sum = 0;
    for (uint k = 0; k < n; ++k)
        sum += 0.1f;
    return sum;
}

kernel void sums(device float2* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    out[id] = float2(kahan(1000 * (id + 1)), naive(1000 * (id + 1)));
}
