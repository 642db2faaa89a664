// SPDX-License-Identifier: MIT
// Functions of quads: four neighbours in the SIMD group.
// grid 64 group 32
// buffer 0: in int[64] = (i * i) % 23 - 7
// buffer 1: out int4[64] == (sum(quad(i)), max(quad(i)), quad(i)[2], quad(i)[i % 4 ^ 1])
// buffer 2: out int4[64] == (quad(i)[3 - i % 4], sum(quad(i)[:i % 4]), min(quad(i)), quad(i)[0])
// buffer 3: out uint2[64] == (i % 4, i % 32 // 4)
// buffer 4: out uint[64] == sum((v > 0) << k for k, v in enumerate(quad(i)))
// python
// def quad(i): return b0[i // 4 * 4:i // 4 * 4 + 4]
// end
#include <metal_stdlib>
using namespace metal;

kernel void quads(device const int* in [[buffer(0)]], device int4* a [[buffer(1)]],
                  device int4* b [[buffer(2)]], device uint2* c [[buffer(3)]],
                  device uint* d [[buffer(4)]], uint id [[thread_position_in_grid]],
                  ushort lane [[thread_index_in_quadgroup]],
                  ushort group [[quadgroup_index_in_threadgroup]]) {
    const int v = in[id];
    a[id] = int4(quad_sum(v), quad_max(v), quad_broadcast(v, 2), quad_shuffle_xor(v, 1));
    b[id] = int4(quad_shuffle(v, ushort(3 - lane)), quad_prefix_exclusive_sum(v), quad_min(v),
                 quad_broadcast_first(v));
    c[id] = uint2(lane, group);
    d[id] = uint(quad_vote::vote_t(quad_ballot(v > 0))) & 15;
}
