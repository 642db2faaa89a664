// SPDX-License-Identifier: MIT
// An array of textures as one argument.
// grid 12 group 12
// texture 0: in 2d rgba32float 2x2 = (1, x, y, 0)
// texture 1: in 2d rgba32float 2x2 = (2, x, y, 0)
// texture 2: in 2d rgba32float 2x2 = (3, x, y, 0)
// buffer 0: out float4[12] == (i % 3 + 1, i // 3 % 2, i // 6, 0)
#include <metal_stdlib>
using namespace metal;

kernel void pick(array<texture2d<float>, 3> images [[texture(0)]], device float4* out [[buffer(0)]],
                 uint id [[thread_position_in_grid]]) {
    out[id] = images[id % 3].read(uint2(id / 3 % 2, id / 6));
}
