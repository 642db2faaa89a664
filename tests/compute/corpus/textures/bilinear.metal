// SPDX-License-Identifier: MIT
// Bilinear samples at and between texels, with clamped and repeated addresses.
// grid 64 group 32
// texture 0: in 2d rgba32float 4x4 = (x, y, x * y, 1)
// buffer 0: in float2[64] = ((i % 8) / 8, i // 8 / 8 * 1.5 - 0.25)
// buffer 1: out float4[64] ~= sampled(b0[i], False) within 4e-3
// buffer 2: out float4[64] ~= sampled(b0[i], True) within 4e-3
// python
// def sampled(at, repeats):
//     u, v = at[0] * 4 - 0.5, at[1] * 4 - 0.5
//     x, y = floor(u), floor(v)
//     def t(x, y):
//         x, y = (x % 4, y % 4) if repeats else (min(max(x, 0), 3), min(max(y, 0), 3))
//         return t0[x, y, 0, 0]
//     def mix(a, b, w): return tuple(p + (q - p) * w for p, q in zip(a, b))
//     return mix(mix(t(x, y), t(x + 1, y), u - x), mix(t(x, y + 1), t(x + 1, y + 1), u - x), v - y)
// end
#include <metal_stdlib>
using namespace metal;

constexpr sampler clamped(coord::normalized, filter::linear, address::clamp_to_edge);

kernel void sample(texture2d<float> image [[texture(0)]], device const float2* at [[buffer(0)]],
                   device float4* a [[buffer(1)]], device float4* b [[buffer(2)]],
                   uint id [[thread_position_in_grid]]) {
    constexpr sampler repeated(filter::linear, address::repeat);
    a[id] = image.sample(clamped, at[id]);
    b[id] = image.sample(repeated, at[id]);
}
