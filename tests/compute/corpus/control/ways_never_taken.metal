// SPDX-License-Identifier: MIT
// A way out of a loop that is never taken, which shows only once the flags are known never to be set.
// grid 8x4 group 8x4
// buffer 0: in uint[1] = 5
// buffer 1: in half[1] = -1
// buffer 2: inout uint[1] = 0 == 64
#include <metal_stdlib>
using namespace metal;

kernel void ways(device const uint* words [[buffer(0)]], device const half* halfs [[buffer(1)]],
                 device atomic_uint* sum [[buffer(2)]], uint2 grid [[threads_per_grid]]) {
    float numbers[9] = {};
    float2x2 product = {};
    array<bool, 2> flags = {};
    const ulong word = words[0];
    uint n = 0;
    for (n = 0; n < 4; ++n) {
    }
    float left = 3;
    for (; left > 0; --left)
        if (ushort(0) < ushort(n))
            flags[0] = all(bool2(1, flags[n & 1]));
    uint count = 0;
    if (half(0) >= halfs[0]) {
        while (count++ < 1)
            if (flags[uint(word) & 1] && flags[n & 1])
                break;
        atomic_fetch_add_explicit(sum, count, memory_order_relaxed);
    } else {
        numbers[grid.y % 9] = 0;
        while (count++ < 9u && float3x3(0, 0, 0, 0, 0, numbers[0], 0, 0, 0) == float3x3(0, 0, left, 0, 0, 0, 0, 0, 0))
            product = float3x2(product[n & 1], float2(6.875f, product[0].y), float2(product[0].y, 0)) *
                      float2x3(product[uint(word) & 1].y);
    }
}
