// SPDX-License-Identifier: MIT
// Floats computed right before, whose bits are compared, added and combined: those of what is
// not negative are in the order of the numbers.
// grid 64 group 32
// buffer 0: in float[64] = (i * 5 % 16) + 0.5
// buffer 1: inout uint[4] = (0, 0x7f800000, 0, 0)[i] == (bits(31), bits(1), wide(sum(bits(2 * x) for x in b0)), 0)[i]
// buffer 2: out uint[6] == (bits(15.75), bits(0.75), wide(sum(bits(x + 0.25) for x in b0[:32])), bits(15.75), bits(0.75), wide(sum(bits(x + 0.25) for x in b0[32:])))[i]
// python
// from struct import pack, unpack
// def bits(x):
//     return unpack('<I', pack('<f', x))[0]
// def wide(x):
//     return x & 0xffffffff
// end
#include <metal_stdlib>
using namespace metal;

kernel void floatBits(device const float* in [[buffer(0)]], device atomic_uint* all [[buffer(1)]],
                      device uint* groups [[buffer(2)]], uint id [[thread_position_in_grid]],
                      uint lane [[thread_index_in_threadgroup]], uint group [[threadgroup_position_in_grid]]) {
    const uint twice = as_type<uint>(in[id] * 2);
    atomic_fetch_max_explicit(&all[0], twice, memory_order_relaxed);
    atomic_fetch_min_explicit(&all[1], twice, memory_order_relaxed);
    atomic_fetch_add_explicit(&all[2], twice, memory_order_relaxed);
    if (atomic_fetch_xor_explicit(&all[3], as_type<uint>(floor(in[id]) + 1), memory_order_relaxed) == 1)
        atomic_fetch_or_explicit(&all[3], as_type<uint>(ceil(in[id])), memory_order_relaxed);

    threadgroup atomic_uint own[3];
    if (lane < 3)
        atomic_store_explicit(&own[lane], lane == 1 ? 0x7f800000 : 0, memory_order_relaxed);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    const uint more = as_type<uint>(in[id] + 0.25f);
    atomic_fetch_max_explicit(&own[0], more, memory_order_relaxed);
    atomic_fetch_min_explicit(&own[1], more, memory_order_relaxed);
    atomic_fetch_add_explicit(&own[2], more, memory_order_relaxed);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    if (lane < 3)
        groups[3 * group + lane] = atomic_load_explicit(&own[lane], memory_order_relaxed);
}
