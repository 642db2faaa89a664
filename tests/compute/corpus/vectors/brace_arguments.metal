// SPDX-License-Identifier: MIT
// Brace lists as arguments of functions, as initialisers and as returned values.
// grid 24 group 8
// buffer 0: in float2[24] = (i / 8, 1 - i / 12)
// buffer 1: out float2[24] ~= (smooth(0.25, 2, b0[i][0]), smooth(-0.5, 0.75, b0[i][1]))
// buffer 2: out float4[24] == (b0[i][0], b0[i][1], 0, 1)
// buffer 3: out float3[24] ~= (b0[i][0] * 2, b0[i][1] * 3, b0[i][0] + b0[i][1])
// python
// def smooth(a, b, x):
//     t = min(max((x - a) / (b - a), 0), 1)
//     return t * t * (3 - 2 * t)
// end
#include <metal_stdlib>
using namespace metal;

static float3 spread(float2 v) {
    return {v.x * 2, v.y * 3, v.x + v.y};
}

kernel void braces(device const float2* in [[buffer(0)]], device float2* steps [[buffer(1)]],
                   device float4* homogeneous [[buffer(2)]], device float3* spreads [[buffer(3)]],
                   uint id [[thread_position_in_grid]]) {
    const float2 st = in[id];
    steps[id] = smoothstep({0.25, -0.5}, {2, 0.75}, st);
    float4 v = {st, 0, 1};
    homogeneous[id] = v;
    spreads[id] = spread(st);
}
