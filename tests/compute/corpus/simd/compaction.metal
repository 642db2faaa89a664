// SPDX-License-Identifier: MIT
// Stream compaction with one atomic for each SIMD group.
// run compact grid 128 group 64
// run sort grid 1 group 1
// buffer 0: in uint[128] = (i * 89) % 127
// buffer 1: inout uint[1] = 0 == len(KEPT)
// buffer 2: inout uint[80] = 5000 == (KEPT + [5000] * 80)[i]
// python
// KEPT = sorted((i * 89) % 127 for i in range(128) if (i * 89) % 127 % 5 < 2)
// end
#include <metal_stdlib>
using namespace metal;

kernel void compact(device const uint* in [[buffer(0)]], device atomic_uint* count [[buffer(1)]],
                    device uint* out [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    const uint v = in[id];
    const uint keep = v % 5 < 2;
    const uint place = simd_prefix_exclusive_sum(keep);
    const uint total = simd_sum(keep);
    uint base = 0;
    if (simd_is_first())
        base = atomic_fetch_add_explicit(count, total, memory_order_relaxed);
    base = simd_broadcast_first(base);
    if (keep)
        out[base + place] = v;
}

kernel void sort(device const uint* count [[buffer(1)]], device uint* out [[buffer(2)]]) {
    for (uint i = 1; i < *count; ++i)
        for (uint k = i; k > 0 && out[k - 1] > out[k]; --k) {
            const uint t = out[k];
            out[k] = out[k - 1];
            out[k - 1] = t;
        }
}
