// SPDX-License-Identifier: MIT
// SIMD groups of a two-dimensional threadgroup: threads in the order of their index.
// grid 16x8 group 8x8
// buffer 0: out uint2[128] == all [(sum(members(x, y)), index(x, y) % 32) for y in range(8) for x in range(16)]
// python
// def index(x, y): return y * 8 + x % 8
// def members(x, y):
//     return [vy * 16 + vx for vy in range(8) for vx in range(x // 8 * 8, x // 8 * 8 + 8)
//             if index(vx, vy) // 32 == index(x, y) // 32]
// end
#include <metal_stdlib>
using namespace metal;

kernel void groups(device uint2* out [[buffer(0)]], uint2 p [[thread_position_in_grid]],
                   uint lane [[thread_index_in_simdgroup]]) {
    const uint at = p.y * 16 + p.x;
    out[at] = uint2(simd_sum(at), lane);
}
