// SPDX-License-Identifier: MIT
// Votes: ballot, any, all, the first thread, and counting those before.
// grid 64 group 32
// buffer 0: in uint[64] = (i * 7) % 10
// buffer 1: out uint[64] == ballot(i, 5)
// buffer 2: out uint4[64] == (1, ballot(i, 5) == 2 ** 32 - 1, 0 if ballot(i, 9) == 0 else 1, first(i))
// buffer 3: out uint[64] == (ballot(i, 5) & (1 << i % 32) - 1).bit_count()
// python
// def ballot(i, limit): return sum((b0[i // 32 * 32 + k] < limit) << k for k in range(32))
// def first(i): return int(i % 32 == 0)
// end
#include <metal_stdlib>
using namespace metal;

kernel void vote(device const uint* in [[buffer(0)]], device uint* masks [[buffer(1)]],
                 device uint4* votes [[buffer(2)]], device uint* ranks [[buffer(3)]],
                 uint id [[thread_position_in_grid]], uint lane [[thread_index_in_simdgroup]]) {
    const uint v = in[id];
    const simd_vote ballot = simd_ballot(v < 5);
    const uint mask = uint(simd_vote::vote_t(ballot));
    masks[id] = mask;
    votes[id] = uint4(simd_any(v < 5), simd_all(v < 5), simd_any(v < 9), simd_is_first());
    ranks[id] = popcount(mask & ((1u << lane) - 1));
}
