// SPDX-License-Identifier: MIT
// A shadow map: depth compared with a reference, nearest and filtered.
// grid 16 group 16
// texture 0: in depth2d depth32float 4x4 = (x + 4 * y) / 16
// buffer 0: out float2[16] == (1 if 0.5 <= i / 16 else 0, i / 16)
// buffer 1: out float4[16] == tuple(float(0.5 <= (min(i % 4 + dx, 3) + 4 * min(i // 4 + dy, 3)) / 16) for dx, dy in ((0, 1), (1, 1), (1, 0), (0, 0)))
#include <metal_stdlib>
using namespace metal;

kernel void shadow(depth2d<float> map [[texture(0)]], device float2* a [[buffer(0)]],
                   device float4* b [[buffer(1)]], uint id [[thread_position_in_grid]]) {
    constexpr sampler s(filter::nearest, address::clamp_to_edge, compare_func::less_equal);
    constexpr sampler g(filter::linear, address::clamp_to_edge, compare_func::less_equal);
    const float2 at = float2(id % 4 + 0.5, id / 4 + 0.5) / 4;
    a[id] = float2(map.sample_compare(s, at, 0.5), map.read(uint2(id % 4, id / 4)));
    b[id] = map.gather_compare(g, float2(id % 4 + 1, id / 4 + 1) / 4, 0.5);
}
