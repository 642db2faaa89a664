// SPDX-License-Identifier: MIT
// SIMD groups that work on their own part of threadgroup memory, with barriers of their own.
// grid 64 group 64
// buffer 0: in uint[64] = i * 5 % 64
// buffer 1: out uint[64] == b0[i // 32 * 32 + (31 - i % 32)] + b0[i // 32 * 32 + i % 32 // 2]
#include <metal_stdlib>
using namespace metal;

kernel void barriers(device const uint* in [[buffer(0)]], device uint* out [[buffer(1)]],
                     uint id [[thread_position_in_grid]], uint lane [[thread_index_in_simdgroup]],
                     uint group [[simdgroup_index_in_threadgroup]]) {
    threadgroup uint rows[2][32];
    threadgroup uint* row = rows[group];
    row[lane] = in[id];
    simdgroup_barrier(mem_flags::mem_threadgroup);
    const uint mirrored = row[31 - lane];
    const uint half_ = row[lane / 2];
    simdgroup_barrier(mem_flags::mem_threadgroup);
    row[lane] = mirrored + half_;
    simdgroup_barrier(mem_flags::mem_threadgroup);
    out[id] = row[lane];
}
