// SPDX-License-Identifier: MIT
// Levels chosen explicitly, between two of them, and by gradients.
// grid 16 group 16
// texture 0: in 2d rgba32float 8x8 levels 4 = (level, x, y, 1)
// buffer 0: out float[16] ~= min(i / 4, 3) within 4e-3
// buffer 1: out float2[16] ~= (min(i // 4, 3), 8 >> min(i // 4, 3))
// buffer 2: out float[16] ~= min(max(log2((i + 1) / 2), 0), 3) within 1e-2
// buffer 3: out float4[16] == ((i % 4, (i % 4) & (7 >> i % 4), 0, 1) if i % 4 < 4 else (0, 0, 0, 0))
#include <metal_stdlib>
using namespace metal;

kernel void levels(texture2d<float> image [[texture(0)]], device float* a [[buffer(0)]],
                   device float2* b [[buffer(1)]], device float* c [[buffer(2)]],
                   device float4* d [[buffer(3)]], uint id [[thread_position_in_grid]]) {
    constexpr sampler s(filter::linear, mip_filter::linear, address::clamp_to_edge);
    a[id] = image.sample(s, 0.5, level(id / 4.0)).x;
    b[id] = float2(image.sample(s, 0.5, level(min(id / 4, 3u))).x, image.get_width(min(id / 4, 3u)));
    const float footprint = (id + 1) / 16.0;
    c[id] = image.sample(s, 0.5, gradient2d(float2(footprint, 0), float2(0, footprint / 2))).x;
    const uint l = id % 4;
    d[id] = image.read(uint2(l & (7 >> l), 0), l);
}
