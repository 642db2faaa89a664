// SPDX-License-Identifier: MIT
// Flags of one byte each, four to a word: each is won by one thread, and none disturbs another.
// grid 64 group 32
// buffer 0: inout uchar[16] = int(i % 3 < 1) == 1
// buffer 1: inout uint[16] = 0 == int(i % 3 > 0)
// buffer 2: inout uint[2] = 0 == 8
// buffer 3: inout ushort[4] = 7 * i == 7 * i + 32
// buffer 4: out uint[64] == 1
#include <metal_stdlib>
using namespace metal;

kernel void flags(device atomic_bool* taken [[buffer(0)]], device atomic_uint* winners [[buffer(1)]],
                  device atomic_uint* first [[buffer(2)]], device atomic<ushort>* counts [[buffer(3)]],
                  device uint* seen [[buffer(4)]], uint id [[thread_position_in_grid]],
                  uint group [[threadgroup_position_in_grid]], uint i [[thread_index_in_threadgroup]]) {
    threadgroup atomic_bool own[8];
    if (i < 8)
        atomic_store_explicit(&own[i], false, memory_order_relaxed);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    if (!atomic_exchange_explicit(&own[i % 8], true, memory_order_relaxed))
        atomic_fetch_add_explicit(&first[group], 1u, memory_order_relaxed);
    bool expected = false;
    while (!atomic_compare_exchange_weak_explicit(&taken[id % 16], &expected, true,
                                                  memory_order_relaxed, memory_order_relaxed) &&
           !expected) {
    }
    if (!expected)
        atomic_fetch_add_explicit(&winners[id % 16], 1u, memory_order_relaxed);
    atomic_fetch_add_explicit(&counts[id % 4], ushort(2), memory_order_relaxed);
    seen[id] = atomic_load_explicit(&taken[id % 16], memory_order_relaxed);
}
