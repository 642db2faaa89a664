// SPDX-License-Identifier: MIT
// A step of k-means: the nearest of four centres, and sums for the new ones by atomics.
// grid 64 group 32
// buffer 0: in int2[64] = (i * 37 % 101, i * 53 % 89)
// buffer 1: in int2[4] = ((20, 20), (80, 20), (20, 70), (80, 70))[i]
// buffer 2: out uint[64] == nearest(b0[i])
// buffer 3: inout int[12] = 0 == sum((b0[k][0], b0[k][1], 1)[i % 3] for k in range(64) if nearest(b0[k]) == i // 3)
// python
// def nearest(p): return min(range(4), key=lambda k: (p[0] - b1[k][0]) ** 2 + (p[1] - b1[k][1]) ** 2)
// end
#include <metal_stdlib>
using namespace metal;

kernel void assign(device const int2* points [[buffer(0)]], constant int2* centres [[buffer(1)]],
                   device uint* labels [[buffer(2)]], device atomic_int* sums [[buffer(3)]],
                   uint id [[thread_position_in_grid]]) {
    const int2 p = points[id];
    uint best = 0;
    int least = INT_MAX;
    for (uint k = 0; k < 4; ++k) {
        const int2 d = p - centres[k];
        const int square = d.x * d.x + d.y * d.y;
        if (square < least) {
            least = square;
            best = k;
        }
    }
    labels[id] = best;
    atomic_fetch_add_explicit(sums + 3 * best, p.x, memory_order_relaxed);
    atomic_fetch_add_explicit(sums + 3 * best + 1, p.y, memory_order_relaxed);
    atomic_fetch_add_explicit(sums + 3 * best + 2, 1, memory_order_relaxed);
}
