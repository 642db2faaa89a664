// SPDX-License-Identifier: MIT
// Sums that have formulas, which need more bits than the sums.
// grid 16 group 16
// buffer 0: in uint[16] = (0, 1, 2, 3, 7, 100, 1000, 65535, 65536, 65537, 92681, 92682, 92683, 12345, 77777, 99999)[i]
// buffer 1: out uint2[16] == (u32(sum(range(b0[i]))), u32(sum(k * k for k in range(b0[i]))))
// buffer 2: out ulong2[16] == (sum(range(b0[i] % 5000)), sum(k * k for k in range(b0[i] % 5000)))
#include <metal_stdlib>
using namespace metal;

template <class T>
vec<T, 2> sums(T n) {
    vec<T, 2> result = 0;
    for (T k = 0; k < n; ++k) {
        result.x += k;
        result.y += k * k;
    }
    return result;
}

kernel void sumsInLoops(device const uint* in [[buffer(0)]], device uint2* words [[buffer(1)]],
                        device ulong2* longs [[buffer(2)]],
                        uint id [[thread_position_in_grid]]) {
    words[id] = sums<uint>(in[id]);
    longs[id] = sums<ulong>(in[id] % 5000);
}
