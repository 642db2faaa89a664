// SPDX-License-Identifier: MIT
// A texture of texels in a row.
// grid 16 group 16
// texture 0: in buffer rgba32float 16 = (x * 3, -x, 0.5, 1)
// buffer 0: out float4[16] == t0[15 - i, 0, 0, 0]
#include <metal_stdlib>
using namespace metal;

kernel void reverse(texture_buffer<float> texels [[texture(0)]], device float4* out [[buffer(0)]],
                    uint id [[thread_position_in_grid]]) {
    out[id] = texels.read(texels.get_width() - 1 - id);
}
