// SPDX-License-Identifier: MIT
// A picture inverted texel by texel and transposed into another; reads outside give 0.
// grid 8x4 group 8x4
// texture 0: in 2d rgba8unorm 8x4 = (x * 30, y * 60, x + y, 255)
// texture 1: out 2d rgba8unorm 4x8 == (255 - t0[y, x, 0, 0][0], 255 - t0[y, x, 0, 0][1], t0[y, x, 0, 0][2], 255)
// buffer 0: out float4[32] == (8, 4, 1, 0)
#include <metal_stdlib>
using namespace metal;

kernel void invert(texture2d<float, access::read> from [[texture(0)]],
                   texture2d<float, access::write> to [[texture(1)]], device float4* sizes [[buffer(0)]],
                   uint2 p [[thread_position_in_grid]]) {
    float4 c = from.read(p);
    c.rg = 1 - c.rg;
    to.write(c, p.yx);
    sizes[p.y * 8 + p.x] = float4(from.get_width(), from.get_height(), from.get_num_mip_levels(),
                                  from.read(p + uint2(8, 0)).x);
}
