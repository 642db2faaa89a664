// SPDX-License-Identifier: MIT
// A threadgroup that is no multiple of 32: the last SIMD group has fewer threads.
// grid 40 group 40
// buffer 0: out uint4[40] == (sum(lanes(i)), len(lanes(i)), max(lanes(i)), 2 ** len(lanes(i)) - 1)
// python
// def lanes(i): return range(0, 32) if i < 32 else range(32, 40)
// end
#include <metal_stdlib>
using namespace metal;

kernel void ragged(device uint4* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    out[id] = uint4(simd_sum(id), simd_sum(1u), simd_max(id),
                    uint(simd_vote::vote_t(simd_active_threads_mask())));
}
