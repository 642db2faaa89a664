// SPDX-License-Identifier: MIT
// Samplers as arguments of the kernel and of functions.
// grid 8 group 8
// texture 0: in 2d rgba32float 4x1 = (x, 10 * x, 0, 1)
// sampler 0: linear clamp_to_edge
// sampler 1: nearest repeat
// buffer 0: out float2[8] ~= (min(max(i / 2 - 0.5, 0), 3), i // 2 * 10) within 5e-3
#include <metal_stdlib>
using namespace metal;

static float first(texture2d<float> image, sampler s, float u) {
    return image.sample(s, float2(u, 0.5)).x;
}

kernel void arguments(texture2d<float> image [[texture(0)]], sampler smooth [[sampler(0)]],
                      sampler sharp [[sampler(1)]], device float2* out [[buffer(0)]],
                      uint id [[thread_position_in_grid]]) {
    out[id] = float2(first(image, smooth, id / 8.0), image.sample(sharp, float2(id / 8.0 + 2.0625, 0.5)).y);
}
