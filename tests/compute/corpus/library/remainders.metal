// SPDX-License-Identifier: MIT
// fmod keeps the sign of the dividend and is exact, also for quotients beyond the float's digits.
// grid 12 group 12
// buffer 0: in float2[12] = ((7.5, 2), (-7.5, 2), (7.5, -2), (1e10, 3.7), (5, inf), (1e12, 7), (0.3, 0.1), (-0.0, 3), (1e-3, 1e5), (6, 3), (16777216, 3), (123456.789, 0.001))[i]
// buffer 1: out float[12] == fmod(*b0[i])
// buffer 2: out float[12] == fmod(f16(b0[i][0] if abs(b0[i][0]) < 1000 else 999), 1.75)
#include <metal_stdlib>
using namespace metal;

kernel void remainders(device const float2* in [[buffer(0)]], device float* a [[buffer(1)]],
                       device float* b [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    a[id] = fmod(in[id].x, in[id].y);
    half h = abs(in[id].x) < 1000 ? half(in[id].x) : 999.0h;
    b[id] = fmod(float(h), 1.75f);
}
