// SPDX-License-Identifier: MIT
// Trigonometric functions and their inverses, also of large arguments and all quadrants.
// grid 96 group 32
// buffer 0: in float2[96] = ((i - 48) * 0.7, ((i * 5) % 13 - 6) * 0.5)
// buffer 1: out float3[96] ~= (sin(b0[i][0]), cos(b0[i][0]), tan(b0[i][1] / 3))
// buffer 2: out float4[96] ~= (atan2(b0[i][1], b0[i][0]), atan(b0[i][0]), asin(b0[i][1] / 3), acos(b0[i][1] / 3))
// buffer 3: out float2[96] ~= (sin(pi * b0[i][1]), cos(pi * b0[i][1])) within 2e-6
// buffer 4: out float2[96] ~= (sin(b0[i][0]), cos(b0[i][0]))
#include <metal_stdlib>
using namespace metal;

kernel void trigonometry(device const float2* in [[buffer(0)]], device float3* a [[buffer(1)]],
                         device float4* b [[buffer(2)]], device float2* c [[buffer(3)]],
                         device float2* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    const float x = in[id].x, y = in[id].y;
    a[id] = float3(sin(x), cos(x), tan(y / 3));
    b[id] = float4(atan2(y, x), atan(x), asin(y / 3), acos(y / 3));
    c[id] = float2(sinpi(y), cospi(y));
    float cosine;
    float sine = sincos(x, cosine);
    d[id] = float2(sine, cosine);
}
