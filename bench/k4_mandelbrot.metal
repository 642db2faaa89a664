// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A fractal: one short loop that ends after 1 to 256 iterations.
// Buffers: 0 receives the result, 1 holds the frame.
#include <metal_stdlib>
using namespace metal;

struct Frame {
    float seconds;
    uint number;
};

kernel void k4_mandelbrot(device float4* out [[buffer(0)]], constant Frame& frame [[buffer(1)]],
                          uint2 at [[thread_position_in_grid]], uint2 size [[threads_per_grid]]) {
    float scale = 0.0025 * (1 + 0.3 * sin(frame.seconds));
    float2 c = float2(-0.7445, 0.1315) + (float2(at) + 0.5 - float2(480, 270)) * (scale / 270);
    float2 z = 0;
    int steps = 0;
    for (; steps < 256; steps++) {
        float2 square = z * z;
        if (square.x + square.y > 16)
            break;
        z = float2(square.x - square.y, 2 * z.x * z.y) + c;
    }
    float s = steps == 256 ? 0.0 : float(steps) / 64;
    out[at.y * size.x + at.x] =
        float4(saturate(abs(fract(s) * 2 - 1)), saturate(s * 0.35), saturate(s * 0.8), 1);
}
