// SPDX-License-Identifier: MIT
// Function constants that are vectors.
// grid 4 group 4
// constant 0: float4 = (1, 2, 3, 4)
// constant 1: uchar2 = (7, 9)
// buffer 0: out float4[4] == (1 + i, 2 + i, 3 + i, 4 + i)
// buffer 1: out uint2[4] == (7 * i, 9)
#include <metal_stdlib>
using namespace metal;

constant float4 base [[function_constant(0)]];
constant uchar2 counts [[function_constant(1)]];

kernel void vectors(device float4* a [[buffer(0)]], device uint2* b [[buffer(1)]],
                    uint id [[thread_position_in_grid]]) {
    a[id] = base + float(id);
    b[id] = uint2(counts.x * id, counts.y);
}
