// SPDX-License-Identifier: MIT
// Layers of a texture array, with the last one for numbers beyond.
// grid 16 group 16
// texture 0: in 2d_array rgba8unorm 4x4x3 = (z * 100, x * 10, y * 10, 255)
// buffer 0: out float4[16] ~= (min(i // 4, 2) * 100 / 255, i % 4 * 10 / 255, 20 / 255, 1)
// buffer 1: out uint[16] == 3
#include <metal_stdlib>
using namespace metal;

kernel void layers(texture2d_array<float> layers [[texture(0)]], device float4* a [[buffer(0)]],
                   device uint* b [[buffer(1)]], uint id [[thread_position_in_grid]]) {
    constexpr sampler s(filter::nearest, address::clamp_to_edge);
    a[id] = layers.sample(s, float2(id % 4 + 0.5, 2.5) / 4, min(id / 4, layers.get_array_size() - 1));
    b[id] = layers.get_array_size();
}
