// SPDX-License-Identifier: MIT
// Threadgroups that hand over what they have: the last one adds it all up. Memory that they see of
// each other is called coherent.
// grid 64 group 16
// buffer 0: out float[4] == sum(range(16 * i, 16 * i + 16))
// buffer 1: inout uint[1] = 0 == 4
// buffer 2: out float[2] == sum(range(64)) * (1 - 2 * i)
#include <metal_stdlib>
using namespace metal;

kernel void hand_over(coherent device atomic_float* sums [[buffer(0)]],
                      coherent(device) device atomic_uint& finished [[buffer(1)]],
                      device coherent float* total [[buffer(2)]],
                      uint id [[thread_position_in_grid]],
                      uint group [[threadgroup_position_in_grid]],
                      uint local [[thread_position_in_threadgroup]]) {
    threadgroup atomic_float shared;
    threadgroup uint number;
    if (local == 0)
        atomic_store_explicit(&shared, 16.0f, memory_order_relaxed);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    atomic_fetch_add_explicit(&shared, float(id), memory_order_relaxed);
    atomic_fetch_sub_explicit(&shared, 1, memory_order_relaxed);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    if (local == 0) {
        atomic_store_explicit(&sums[group], atomic_load_explicit(&shared, memory_order_relaxed),
                              memory_order_relaxed);
        number = atomic_fetch_add_explicit(&finished, 1u, memory_order_relaxed);
    }
    threadgroup_barrier(mem_flags::mem_device);
    if (number == 3 && local == 0) {
        float sum = 0;
        for (int i = 0; i < 4; ++i)
            sum += atomic_load_explicit(&sums[i], memory_order_relaxed);
        total[0] = sum;
        total[1] = -sum;
    }
}
