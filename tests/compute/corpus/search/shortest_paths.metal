// SPDX-License-Identifier: MIT
// Shortest paths between all pairs in a graph of eight nodes, each thread for one start.
// grid 8 group 8
// buffer 0: in ushort[64] = 0 if i // 8 == i % 8 else (i * 29 % 13 + 1 if i * 7 % 3 == 0 else 9999)
// buffer 1: out ushort[64] == DISTANCES()[i // 8][i % 8]
// python
// def DISTANCES():
//     d = [b0[8 * r:8 * r + 8] for r in range(8)]
//     for k in range(8):
//         d = [[min(d[r][c], d[r][k] + d[k][c]) for c in range(8)] for r in range(8)]
//     return [[min(x, 9999) for x in row] for row in d]
// end
#include <metal_stdlib>
using namespace metal;

using Row = ushort[8];

kernel void dijkstra(constant Row* edges [[buffer(0)]], device ushort* out [[buffer(1)]],
                     ushort start [[thread_position_in_grid]]) {
    ushort distance[8];
    uchar done = 0;
    for (ushort k = 0; k < 8; ++k)
        distance[k] = k == start ? 0 : 9999;
    for (ushort step = 0; step < 8; ++step) {
        ushort nearest = 8;
        for (ushort k = 0; k < 8; ++k)
            if (!(done >> k & 1) && (nearest == 8 || distance[k] < distance[nearest]))
                nearest = k;
        done |= 1 << nearest;
        for (ushort k = 0; k < 8; ++k)
            distance[k] = min(distance[k], ushort(distance[nearest] + edges[nearest][k]));
    }
    for (ushort k = 0; k < 8; ++k)
        out[8 * start + k] = distance[k];
}
