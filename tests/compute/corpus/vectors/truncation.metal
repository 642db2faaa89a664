// SPDX-License-Identifier: MIT
// Longer vectors handed to constructors of shorter ones, which take the first components.
// grid 12 group 4
// buffer 0: in float4[12] = (i, i + 0.5, -i, 9)
// buffer 1: out float3[12] == b0[i][:3]
// buffer 2: out half3[12] == b0[i][:3]
// buffer 3: out float2[12] == (b0[i][0] * 2, b0[i][1] * 2)
#include <metal_stdlib>
using namespace metal;

kernel void truncate(device const float4* in [[buffer(0)]], device float3* a [[buffer(1)]],
                     device half3* b [[buffer(2)]], device float2* c [[buffer(3)]],
                     uint id [[thread_position_in_grid]]) {
    a[id] = float3(in[id]);
    half4 h = half4(in[id]);
    b[id] = half3(h);
    c[id] = float2(in[id]) * 2;
}
