// SPDX-License-Identifier: MIT
// Packed vectors in structures, arithmetic with them and stores to them.
// grid 20 group 20
// buffer 0: in {packed_float3 packed_uchar4 packed_half2}[20] = (i, i + 0.5, -i, i, 255 - i, 7, 9, i / 4, 2)
// buffer 1: out {packed_float3 packed_short3}[20] == (b0[i][0] * 2 + 1, b0[i][1] * 2, b0[i][2] * 2 - 1, b0[i][3] * 2, b0[i][5] * 2, b0[i][6] * 2)
// buffer 2: out float4[20] == (b0[i][7], b0[i][8], b0[i][3] + b0[i][4], b0[i][0])
#include <metal_stdlib>
using namespace metal;

struct Vertex {
    packed_float3 position;
    packed_uchar4 color;
    packed_half2 uv;
};
struct Moved {
    packed_float3 position;
    packed_short3 color;
};

kernel void move(device const Vertex* in [[buffer(0)]], device Moved* out [[buffer(1)]],
                 device float4* other [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    Vertex v = in[id];
    float3 p = v.position;
    out[id].position = p * 2 + float3(1, 0, -1);
    uchar4 c = v.color;
    out[id].color = short3(c.x, c.z, c.w) * short(2);
    half2 uv = v.uv;
    other[id] = float4(float2(uv), c.x + c.y, in[id].position[0]);
}
