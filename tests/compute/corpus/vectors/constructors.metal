// SPDX-License-Identifier: MIT
// Every way to put a vector together out of smaller ones, also across element types.
// grid 16 group 16
// buffer 0: in int4[16] = (i - 8, 3 * i, -i, 100 - i)
// buffer 1: out float4[16] == (b0[i][0], b0[i][1], 1, 0.5)
// buffer 2: out float4[16] == (b0[i][3], b0[i][0], b0[i][1], b0[i][2])
// buffer 3: out uint4[16] == (b0[i][0], b0[i][0], b0[i][0], b0[i][0])
// buffer 4: out short4[16] == (b0[i][2], b0[i][1], 7, b0[i][1] * 1000)
// buffer 5: out uchar4[16] == (b0[i][3], b0[i][2], b0[i][1], b0[i][0])
#include <metal_stdlib>
using namespace metal;

kernel void build(constant int4* in [[buffer(0)]], device float4* a [[buffer(1)]],
                  device float4* b [[buffer(2)]], device uint4* c [[buffer(3)]],
                  device short4* d [[buffer(4)]], device uchar4* e [[buffer(5)]],
                  uint id [[thread_position_in_grid]]) {
    const int4 v = in[id];
    a[id] = float4(float2(v.xy), 1, 0.5);
    b[id] = float4(v.w, float3(v.xyz));
    c[id] = uint4(uint(v.x));
    short2 low(v.z, v.y);
    d[id] = short4(low, short2(7, short(v.y * 1000)));
    e[id] = uchar4(uchar(v.w), uchar2(v.zy), uchar(v.x));
}
