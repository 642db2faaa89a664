// SPDX-License-Identifier: MIT
// A vector of int shifted by a vector of uint keeps its type.
// grid 16 group 16
// buffer 0: out int2[16] == (-3 << i % 4, 5 << i % 3)
// buffer 1: out short4[16] == (-4096 >> i % 4, -1 >> i % 4, 77 >> 1, 1 >> 2)
#include <metal_stdlib>
using namespace metal;

kernel void shifts(device int2* a [[buffer(0)]], device short4* b [[buffer(1)]],
                   uint id [[thread_position_in_grid]]) {
    a[id] = int2(-3, 5) << uint2(id % 4, id % 3);
    b[id] = short4(-4096, -1, 77, 1) >> ushort4(id % 4, id % 4, 1, 2);
}
