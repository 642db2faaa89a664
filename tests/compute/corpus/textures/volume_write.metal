// SPDX-License-Identifier: MIT
// A three-dimensional texture written by a kernel and read by the next.
// run fill grid 4x2x3 group 4x2x3
// run check grid 24 group 8
// texture 0: inout 3d rgba16float 4x2x3 == (x, y, z, x * y * z)
// buffer 0: out float[24] == (i % 4) + (i // 4 % 2) * 10 + (i // 8) * 100
#include <metal_stdlib>
using namespace metal;

kernel void fill(texture3d<half, access::write> volume [[texture(0)]], uint3 p [[thread_position_in_grid]]) {
    volume.write(half4(half3(p), p.x * p.y * p.z), p);
}

kernel void check(texture3d<half, access::read> volume [[texture(0)]], device float* out [[buffer(0)]],
                  uint id [[thread_position_in_grid]]) {
    const half4 v = volume.read(uint3(id % 4, id / 4 % 2, id / 8));
    out[id] = v.x + 10 * v.y + 100 * float(v.z);
}
