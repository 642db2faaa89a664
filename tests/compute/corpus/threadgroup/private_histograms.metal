// SPDX-License-Identifier: MIT
// A histogram for each threadgroup with atomics in threadgroup memory, then summed in device memory.
// grid 256 group 64
// buffer 0: in uchar[256] = (i * i + 3 * i) % 256
// buffer 1: inout uint[16] = 0 == sum(v % 16 == i for v in b0)
// buffer 2: out uint[64] == sum(v % 16 == i % 16 for v in b0[i // 16 * 64:i // 16 * 64 + 64])
#include <metal_stdlib>
using namespace metal;

kernel void histogram(device const uchar* in [[buffer(0)]], device atomic_uint* total [[buffer(1)]],
                      device uint* each [[buffer(2)]], uint id [[thread_position_in_grid]],
                      uint local [[thread_index_in_threadgroup]],
                      uint group [[threadgroup_position_in_grid]]) {
    threadgroup atomic_uint bins[16];
    if (local < 16)
        atomic_store_explicit(&bins[local], 0, memory_order_relaxed);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    atomic_fetch_add_explicit(&bins[in[id] % 16], 1, memory_order_relaxed);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    if (local < 16) {
        const uint count = atomic_load_explicit(&bins[local], memory_order_relaxed);
        atomic_fetch_add_explicit(&total[local], count, memory_order_relaxed);
        each[group * 16 + local] = count;
    }
}
