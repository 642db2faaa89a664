// SPDX-License-Identifier: MIT
// The nearest and second nearest of points, one in each cell.
// grid 64 group 32
// buffer 0: out float2[64] ~= tuple(sorted(distances(i % 8 * 0.45, i // 8 * 0.7))[:2]) within 2e-6
// buffer 1: out uint[64] == min(range(9), key=lambda k: distances(i % 8 * 0.45, i // 8 * 0.7)[k])
// python
// def point(x, y):
//     h = u32(x * 73856093 ^ y * 19349663)
//     return (x + (h & 1023) / 1024, y + (h >> 10 & 1023) / 1024)
// def distances(x, y):
//     return [dist(point(floor(x) + k % 3 - 1, floor(y) + k // 3 - 1), (x, y)) for k in range(9)]
// end
#include <metal_stdlib>
using namespace metal;

kernel void cells(device float2* near [[buffer(0)]], device uint* which [[buffer(1)]],
                  uint id [[thread_position_in_grid]]) {
    const float2 p(id % 8 * 0.45, id / 8 * 0.7);
    const int2 cell = int2(floor(p));
    float2 best = INFINITY;
    uint winner = 0;
    for (uint k = 0; k < 9; ++k) {
        const int2 c = cell + int2(k % 3, k / 3) - 1;
        const uint h = uint(c.x * 73856093) ^ uint(c.y * 19349663);
        const float2 q = float2(c) + float2(h & 1023, h >> 10 & 1023) / 1024;
        const float d = distance(p, q);
        if (d < best.x) {
            best = float2(d, best.x);
            winner = k;
        } else if (d < best.y) {
            best.y = d;
        }
    }
    near[id] = best;
    which[id] = winner;
}
