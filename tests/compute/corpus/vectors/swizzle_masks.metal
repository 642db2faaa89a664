// SPDX-License-Identifier: MIT
// Reads and writes through swizzles, in place and overlapping.
// grid 32 group 32
// buffer 0: in float4[32] = (i, i * 2 + 1, 7 - i, i * i % 11)
// buffer 1: out float4[32] == all [shuffled(v) for v in b0]
// buffer 2: out float2[32] == (b0[i][1] + b0[i][3], b0[i][0])
// python
// def shuffled(v):
//     x, y, z, w = v
//     x, z = z, x            # v.xz = v.zx
//     y, w = w + 1, y - 1    # v.yw = v.wy + (1, -1)
//     z, y, x = x, y, z      # v.zyx = v.xyz
//     return (x, y, z, w)
// end
#include <metal_stdlib>
using namespace metal;

kernel void swizzle(device const float4* in [[buffer(0)]], device float4* out [[buffer(1)]],
                    device float2* sums [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    float4 v = in[id];
    v.xz = v.zx;
    v.yw = v.wy + float2(1, -1);
    v.zyx = v.xyz;
    out[id] = v;
    float2 s = 0;
    s.x += in[id].y;
    s.r += in[id].a;
    s.g = in[id].rgba.x;
    sums[id] = s;
}
