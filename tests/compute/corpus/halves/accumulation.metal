// SPDX-License-Identifier: MIT
// Sums kept in memory as half: every store rounds to nearest, ties to even.
// grid 8 group 8
// buffer 0: inout half[8] = 2040 + i == walk(2040 + i)
// buffer 1: out half[8] == f16(f16(0.1) * f16(i))
// python
// def walk(x):
//     for _ in range(12):
//         x = f16(x + 1)
//     return x
// end
#include <metal_stdlib>
using namespace metal;

kernel void accumulate(device half* h [[buffer(0)]], device half* products [[buffer(1)]],
                       uint id [[thread_position_in_grid]]) {
    for (int k = 0; k < 12; ++k) {
        h[id] = h[id] + 1.0h;
        threadgroup_barrier(mem_flags::mem_device);
    }
    products[id] = 0.1h * half(id);
}
