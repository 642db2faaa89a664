// SPDX-License-Identifier: MIT
// A stream compaction: threads that keep their element append it; order is not defined, the set is.
// run keep grid 128 group 32
// run order grid 1 group 1
// buffer 0: in uint[128] = (i * 73 + 11) % 128
// buffer 1: inout uint[1] = 0 == len(KEPT)
// buffer 2: inout uint[64] = 999 == (KEPT + [999] * 64)[i]
// python
// KEPT = [v for v in range(128) if v % 3 == 0]
// end
#include <metal_stdlib>
using namespace metal;

kernel void keep(device const uint* in [[buffer(0)]], device atomic_uint& count [[buffer(1)]],
                 device uint* kept [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    const uint value = in[id];
    if (value % 3 == 0)
        kept[atomic_fetch_add_explicit(&count, 1u, memory_order_relaxed)] = value;
}

kernel void order(device const uint& count [[buffer(1)]], device uint* kept [[buffer(2)]]) {
    for (uint i = 1; i < count; ++i) {
        const uint value = kept[i];
        uint k = i;
        for (; k > 0 && kept[k - 1] > value; --k)
            kept[k] = kept[k - 1];
        kept[k] = value;
    }
}
