// SPDX-License-Identifier: MIT
// Structures in device and constant memory: layout, nested members, arrays of members.
// grid 12 group 12
// buffer 0: in {float3 float uint2 half2}[12] = (i, i + 1, i + 2, 0.5 * i, 3 * i, 100 - i, i / 2, -i)
// buffer 1: out {uchar float2 short}[12] == (b0[i][4] & 255, b0[i][0] * 2 + b0[i][6], b0[i][2], b0[i][5] * -1)
// buffer 2: in {float float4}[1] = (3, 1, 2, 3, 4)
// buffer 3: out float[12] == 3 * i + (1, 2, 3, 4)[i % 4]
#include <metal_stdlib>
using namespace metal;

struct Inner {
    uint2 ids;
    half2 h;
};
struct Body {
    float3 position;
    float mass;
    uint2 ids;
    half2 h;
};
struct Result {
    uchar tag;
    float2 moved;
    short back;
};
struct Settings {
    float scale;
    float4 offsets;
};

kernel void update(device const Body* bodies [[buffer(0)]], device Result* results [[buffer(1)]],
                   constant Settings& settings [[buffer(2)]], device float* out [[buffer(3)]],
                   uint id [[thread_position_in_grid]]) {
    device const Body& body = bodies[id];
    Inner inner = {body.ids, body.h};
    device Result& r = results[id];
    r.tag = inner.ids.x;
    r.moved = {body.position.x * 2 + inner.h.x, body.position.z};
    r.back = -short(inner.ids.y);
    out[id] = settings.scale * id + settings.offsets[id % 4];
}
