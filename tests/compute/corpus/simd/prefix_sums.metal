// SPDX-License-Identifier: MIT
// Prefix sums within SIMD groups, combined to those of a threadgroup.
// grid 256 group 128
// buffer 0: in uint[256] = (i * 13) % 11
// buffer 1: out uint[256] == sum(b0[i // 128 * 128:i])
// buffer 2: out uint2[256] == (sum(b0[i // 32 * 32:i + 1]), sum(b0[i // 32 * 32:i]))
// buffer 3: out int[256] == (-1) ** sum(v % 2 for v in b0[i // 32 * 32:i])
#include <metal_stdlib>
using namespace metal;

kernel void scan(device const uint* in [[buffer(0)]], device uint* out [[buffer(1)]],
                 device uint2* both [[buffer(2)]], device int* products [[buffer(3)]],
                 uint id [[thread_position_in_grid]], uint lane [[thread_index_in_simdgroup]],
                 uint group [[simdgroup_index_in_threadgroup]], uint width [[threads_per_simdgroup]]) {
    threadgroup uint totals[4];
    const uint v = in[id];
    const uint inclusive = simd_prefix_inclusive_sum(v);
    const uint exclusive = simd_prefix_exclusive_sum(v);
    if (lane == width - 1)
        totals[group] = inclusive;
    threadgroup_barrier(mem_flags::mem_threadgroup);
    uint before = 0;
    for (uint k = 0; k < group; ++k)
        before += totals[k];
    out[id] = before + exclusive;
    both[id] = uint2(inclusive, exclusive);
    products[id] = simd_prefix_exclusive_product(v % 2 ? -1 : 1);
}
