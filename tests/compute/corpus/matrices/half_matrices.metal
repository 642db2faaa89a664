// SPDX-License-Identifier: MIT
// Matrices of half: made of brace lists, multiplied, converted.
// grid 8 group 8
// buffer 0: out half3[8] == (i + 4, 3 * i - 2, 2 * i + 1)
// buffer 1: out float2[8] == (i + 2, 2 * i - 1)
// buffer 2: out half2[8] == (i * 2 - 3, 3 - i)
#include <metal_stdlib>
using namespace metal;

kernel void halves(device half3* a [[buffer(0)]], device float2* b [[buffer(1)]],
                   device half2* c [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    half3x3 m = half3x3({1, 3, 2}, {2, -1, 0}, {2, 0, 1});
    half i = half(id);
    a[id] = m * half3(i, 1.0h, 1.0h) + half3(0, -1, 0);
    float2x2 f = float2x2(half2x2(1, 2, 2, -1));
    b[id] = f * float2(id, 1);
    half2 v(i, 3.0h);
    v *= half2x2(2.0h, -1.0h, -1.0h, 1.0h);
    c[id] = v;
}
