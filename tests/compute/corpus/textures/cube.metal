// SPDX-License-Identifier: MIT
// Directions pick the face of a cube texture.
// grid 6 group 6
// texture 0: in cube rgba8unorm 4x4x6 = (z * 40, 7, 9, 255)
// buffer 0: in float3[6] = ((1, 0.2, -0.3), (-1, 0.1, 0.4), (0.3, 1, 0.2), (0.1, -1, -0.1), (0.2, 0.1, 1), (-0.3, 0.2, -1))[i]
// buffer 1: out float[6] ~= i * 40 / 255
#include <metal_stdlib>
using namespace metal;

kernel void faces(texturecube<float> sky [[texture(0)]], device const float3* in [[buffer(0)]],
                  device float* out [[buffer(1)]], uint id [[thread_position_in_grid]]) {
    constexpr sampler s(filter::nearest);
    out[id] = sky.sample(s, in[id] * 3).r;
}
