// SPDX-License-Identifier: MIT
// A histogram of bytes, its running sum by a second kernel, and the extremes.
// run count grid 256 group 32
// run running grid 16 group 16
// buffer 0: in uchar[256] = (i * i * 7 + i * 3) % 251
// buffer 1: inout uint[16] = 0 == sum(v >> 4 == i for v in b0)
// buffer 2: inout int[2] = (1000, -1000)[i] == (min(b0), max(b0))[i]
// buffer 3: out uint[16] == sum(v >> 4 <= i for v in b0)
#include <metal_stdlib>
using namespace metal;

kernel void count(device const uchar* values [[buffer(0)]], device atomic_uint* bins [[buffer(1)]],
                  device atomic_int* extremes [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    atomic_fetch_add_explicit(&bins[values[id] >> 4], 1, memory_order_relaxed);
    atomic_fetch_min_explicit(&extremes[0], values[id], memory_order_relaxed);
    atomic_fetch_max_explicit(&extremes[1], values[id], memory_order_relaxed);
}

kernel void running(device const uint* bins [[buffer(1)]], device uint* sums [[buffer(3)]],
                    uint id [[thread_position_in_grid]]) {
    uint sum = 0;
    for (uint k = 0; k <= id; ++k)
        sum += bins[k];
    sums[id] = sum;
}
