// SPDX-License-Identifier: MIT
// The product of two 32 x 32 matrices by tiles of 8 x 8 in threadgroup memory.
// grid 32x32 group 8x8
// buffer 0: in float[1024] = (i * 7) % 9 - 4
// buffer 1: in float[1024] = (i * 5) % 7 - 3
// buffer 2: out float[1024] == sum(b0[i // 32 * 32 + k] * b1[k * 32 + i % 32] for k in range(32))
#include <metal_stdlib>
using namespace metal;

constant uint tile = 8;
constant uint n = 32;

kernel void multiply(device const float* a [[buffer(0)]], device const float* b [[buffer(1)]],
                     device float* c [[buffer(2)]], uint2 id [[thread_position_in_grid]],
                     uint2 local [[thread_position_in_threadgroup]]) {
    threadgroup float left[tile][tile];
    threadgroup float right[tile][tile];
    float sum = 0;
    for (uint t = 0; t < n / tile; ++t) {
        left[local.y][local.x] = a[id.y * n + t * tile + local.x];
        right[local.y][local.x] = b[(t * tile + local.y) * n + id.x];
        threadgroup_barrier(mem_flags::mem_threadgroup);
        for (uint k = 0; k < tile; ++k)
            sum += left[local.y][k] * right[k][local.x];
        threadgroup_barrier(mem_flags::mem_threadgroup);
    }
    c[id.y * n + id.x] = sum;
}
