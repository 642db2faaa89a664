// SPDX-License-Identifier: MIT
// Inclusive prefix sums of each threadgroup, with two buffers that change places.
// grid 192 group 64
// buffer 0: in uint[192] = (i * 29) % 31
// buffer 1: out uint[192] == sum(b0[i // 64 * 64:i + 1])
#include <metal_stdlib>
using namespace metal;

kernel void scan(device const uint* in [[buffer(0)]], device uint* out [[buffer(1)]],
                 uint id [[thread_position_in_grid]], uint local [[thread_index_in_threadgroup]]) {
    threadgroup uint a[64], b[64];
    threadgroup uint* from = a;
    threadgroup uint* to = b;
    from[local] = in[id];
    threadgroup_barrier(mem_flags::mem_threadgroup);
    for (uint distance = 1; distance < 64; distance *= 2) {
        to[local] = from[local] + (local >= distance ? from[local - distance] : 0);
        threadgroup_barrier(mem_flags::mem_threadgroup);
        threadgroup uint* other = from;
        from = to;
        to = other;
    }
    out[id] = from[local];
}
