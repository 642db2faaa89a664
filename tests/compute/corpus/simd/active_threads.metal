// SPDX-License-Identifier: MIT
// SIMD functions under a condition: only the threads that get there take part.
// grid 64 group 32
// buffer 0: in uint[64] = (i * 11) % 13
// buffer 1: inout uint[64] = 77 == (sum(members(i)) if b0[i] % 2 else 77)
// buffer 2: inout uint[64] = 0 == (int(lanes(i)[0] == i) + 2 * len(members(i)) if b0[i] % 2 else 0)
// python
// def lanes(i): return [k for k in range(i // 32 * 32, i // 32 * 32 + 32) if b0[k] % 2]
// def members(i): return [b0[k] for k in lanes(i)]
// end
#include <metal_stdlib>
using namespace metal;

kernel void active(device const uint* in [[buffer(0)]], device uint* sums [[buffer(1)]],
                   device uint* firsts [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    const uint v = in[id];
    if (v % 2) {
        sums[id] = simd_sum(v);
        const ulong mask = static_cast<ulong>(simd_active_threads_mask());
        firsts[id] = uint(simd_is_first()) + 2 * popcount(uint(mask));
    }
}
