// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Six sines a pixel, no branches.
// Buffers: 0 receives the result, 1 holds the frame.
#include <metal_stdlib>
using namespace metal;

struct Frame {
    float seconds;
    uint number;
};

kernel void k1_plasma(device float4* out [[buffer(0)]], constant Frame& frame [[buffer(1)]],
                      uint2 at [[thread_position_in_grid]], uint2 size [[threads_per_grid]]) {
    float t = frame.seconds;
    float2 p = (float2(at) + 0.5 - float2(480, 270)) / 270;
    float wave = sin(p.x * 4 + t);
    float bent = sin(p.y * 5 - t * 1.3 + wave);
    float slope = cos((p.x + p.y) * 3 + t * 0.7);
    float ring = sin(sqrt(dot(p, p) + 0.05) * 9 - t * 2 + bent);
    float sum = (wave + bent + slope + ring) * 1.6;
    float red = 0.5 + 0.5 * sin(sum);
    float green = 0.5 + 0.5 * cos(sum + 2);
    out[at.y * size.x + at.x] = float4(red, green, 1 - red * green, 1);
}
