// SPDX-License-Identifier: MIT
// Nearest samples beyond all edges with every address mode, in pixels where those allow it.
// grid 64 group 32
// texture 0: in 2d rgba8unorm 4x4 = (x * 60 + 10, y * 60 + 10, 200, 255)
// buffer 0: out float4[64] ~= texel(mirrored(i % 8 - 2), mirrored(i // 8 - 2))
// buffer 1: out float4[64] ~= texel(i % 8 - 2, i // 8 - 2) if 0 <= i % 8 - 2 < 4 and 0 <= i // 8 - 2 < 4 else (0, 0, 0, 0)
// buffer 2: out float4[64] ~= texel(min(max(i % 8 - 2, 0), 3), min(max(i // 8 - 2, 0), 3))
// python
// def mirrored(k):
//     k %= 8
//     return k if k < 4 else 7 - k
// def texel(x, y): return tuple(c / 255 for c in t0[x, y, 0, 0])
// end
#include <metal_stdlib>
using namespace metal;

kernel void address(texture2d<float> image [[texture(0)]], device float4* a [[buffer(0)]],
                    device float4* b [[buffer(1)]], device float4* c [[buffer(2)]],
                    uint id [[thread_position_in_grid]]) {
    constexpr sampler mirror(coord::normalized, filter::nearest, address::mirrored_repeat);
    constexpr sampler zero(coord::normalized, filter::nearest, address::clamp_to_zero);
    constexpr sampler pixels(coord::pixel, filter::nearest, address::clamp_to_edge);
    const float2 at = float2(id % 8, id / 8) - 1.5;
    a[id] = image.sample(mirror, at / 4);
    b[id] = image.sample(zero, at / 4);
    c[id] = image.sample(pixels, at);
}
