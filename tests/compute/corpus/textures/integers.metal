// SPDX-License-Identifier: MIT
// Textures of integers: exact texels, written back changed.
// grid 4x4 group 4x4
// texture 0: in 2d rgba8uint 4x4 = (x * 60, y * 60, 255, 7)
// texture 1: out 2d r32uint 4x4 == x * 60 << 16 | y * 60
#include <metal_stdlib>
using namespace metal;

kernel void pack(texture2d<uint, access::read> from [[texture(0)]],
                 texture2d<uint, access::write> to [[texture(1)]], uint2 p [[thread_position_in_grid]]) {
    const uint4 v = from.read(p);
    to.write(uint4(v.x << 16 | v.y, 0, 0, 0), p);
}
