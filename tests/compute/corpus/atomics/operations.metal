// SPDX-License-Identifier: MIT
// All atomic operations that fetch and modify, and exchanges, on their own words.
// grid 32 group 32
// buffer 0: inout uint[10] = (0, 1000, 0xffff0000, 0, 0xffff, 0xffffffff, 0, 0, 5, 77)[i] == (sum(range(32)), 1000 - 32 * 3, 0xffff0000 & 0xf0f0f0f0, 0xffffffff, 0xffff, 3, 93, 32, 5 + 32, 77)[i]
// buffer 1: out uint[32] == 1
// buffer 2: out int[1] == -496
#include <metal_stdlib>
using namespace metal;

kernel void operations(device atomic_uint* words [[buffer(0)]], device atomic_uint* seen [[buffer(1)]],
                       device atomic_int* signedSum [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    atomic_fetch_add_explicit(&words[0], id, memory_order_relaxed);
    atomic_fetch_sub_explicit(&words[1], 3u, memory_order_relaxed);
    atomic_fetch_and_explicit(&words[2], 0xf0f0f0f0u, memory_order_relaxed);
    atomic_fetch_or_explicit(&words[3], 1u << id, memory_order_relaxed);
    atomic_fetch_xor_explicit(&words[4], 0u, memory_order_relaxed);
    atomic_fetch_min_explicit(&words[5], 3 * id + 3, memory_order_relaxed);
    atomic_fetch_max_explicit(&words[6], 3 * id, memory_order_relaxed);
    const uint ticket = atomic_fetch_add_explicit(&words[7], 1u, memory_order_relaxed);
    atomic_fetch_add_explicit(&seen[ticket], 1u, memory_order_relaxed);
    uint expected = atomic_load_explicit(&words[8], memory_order_relaxed);
    while (!atomic_compare_exchange_weak_explicit(&words[8], &expected, expected + 1,
                                                  memory_order_relaxed, memory_order_relaxed)) {
    }
    atomic_exchange_explicit(&words[9], 77u, memory_order_relaxed);
    atomic_fetch_sub_explicit(signedSum, int(id), memory_order_relaxed);
}
