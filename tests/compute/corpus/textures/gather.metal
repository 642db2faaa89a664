// SPDX-License-Identifier: MIT
// Four texels at once, of any component, and offsets of samples.
// grid 16 group 16
// texture 0: in 2d rgba32float 4x4 = (x + 10 * y, x, y, 7)
// buffer 0: out float4[16] == tuple(min(max(i % 4 + dx, 0), 3) + 10 * min(max(i // 4 + dy, 0), 3) for dx, dy in ((0, 1), (1, 1), (1, 0), (0, 0)))
// buffer 1: out float4[16] == tuple(min(max(i // 4 + dy, 0), 3) for dy in (1, 1, 0, 0))
// buffer 2: out float[16] == min(i % 4 + 1, 3) + 10 * max(i // 4 - 1, 0)
#include <metal_stdlib>
using namespace metal;

kernel void gather(texture2d<float> image [[texture(0)]], device float4* a [[buffer(0)]],
                   device float4* b [[buffer(1)]], device float* c [[buffer(2)]],
                   uint id [[thread_position_in_grid]]) {
    constexpr sampler s(filter::linear, address::clamp_to_edge);
    constexpr sampler n(filter::nearest, address::clamp_to_edge);
    const float2 corner = float2(id % 4 + 1, id / 4 + 1) / 4;
    a[id] = image.gather(s, corner);
    b[id] = image.gather(s, corner, int2(0), component::z);
    c[id] = image.sample(n, float2(id % 4 + 0.5, id / 4 + 0.5) / 4, int2(1, -1)).x;
}
