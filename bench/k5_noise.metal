// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Clouds: ten octaves of gradient noise, whose gradients come from hashed integers.
// Buffers: 0 receives the result, 1 holds the frame.
#include <metal_stdlib>
using namespace metal;

struct Frame {
    float seconds;
    uint number;
};

uint scatter(uint value) {
    value = (value ^ value >> 16) * 0x7feb352du;
    value = (value ^ value >> 15) * 0x846ca68bu;
    return value ^ value >> 16;
}

float slope(int2 corner, float2 away) {
    uint hash = scatter(uint(corner.x) * 374761393u + uint(corner.y) * 668265263u);
    return dot(float2(hash & 0xFFFF, hash >> 16) / 32768 - 1, away);
}

float noise(float2 p) {
    int2 cell = int2(floor(p));
    float2 f = fract(p);
    float2 w = f * f * (3 - 2 * f);
    float upper = mix(slope(cell, f), slope(cell + int2(1, 0), f - float2(1, 0)), w.x);
    float lower = mix(slope(cell + int2(0, 1), f - float2(0, 1)), slope(cell + 1, f - 1), w.x);
    return mix(upper, lower, w.y);
}

float clouds(float2 p) {
    float sum = 0;
    for (int octave = 0; octave < 5; octave++) {
        sum += noise(p) * exp2(-1 - float(octave));
        p = float2(1.6 * p.x + 1.2 * p.y, 1.6 * p.y - 1.2 * p.x) + float2(3.1, 1.7);
    }
    return sum;
}

kernel void k5_noise(device float4* out [[buffer(0)]], constant Frame& frame [[buffer(1)]],
                     uint2 at [[thread_position_in_grid]], uint2 size [[threads_per_grid]]) {
    float2 p = float2(at) / 100 + float2(frame.seconds, 0);
    float far = clouds(p);
    float near = clouds(p + 2 * far + float2(5.2, 1.3));
    out[at.y * size.x + at.x] = float4(0.5 + far, 0.5 + near, 0.5 + far * near, 1);
}
