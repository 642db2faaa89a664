// SPDX-License-Identifier: MIT
// Two generations of the game of life on a torus of 16 x 16, all in threadgroup memory.
// grid 16x16 group 16x16
// buffer 0: in uchar[256] = (i * i * 7 + i * 3) % 5 < 2
// buffer 1: out uchar[256] == all life(life(b0))
// python
// def life(cells):
//     def at(x, y): return cells[y % 16 * 16 + x % 16]
//     def next(x, y):
//         n = sum(at(x + dx, y + dy) for dx in (-1, 0, 1) for dy in (-1, 0, 1)) - at(x, y)
//         return int(n == 3 or (n == 2 and at(x, y)))
//     return [next(i % 16, i // 16) for i in range(256)]
// end
#include <metal_stdlib>
using namespace metal;

kernel void life(device const uchar* in [[buffer(0)]], device uchar* out [[buffer(1)]],
                 uint2 p [[thread_position_in_threadgroup]]) {
    threadgroup uchar cells[16][16];
    cells[p.y][p.x] = in[16 * p.y + p.x];
    uchar alive = 0;
    for (int generation = 0; generation < 2; ++generation) {
        threadgroup_barrier(mem_flags::mem_threadgroup);
        int n = 0;
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx)
                n += cells[(p.y + dy) & 15][(p.x + dx) & 15];
        n -= cells[p.y][p.x];
        alive = n == 3 || (n == 2 && cells[p.y][p.x]);
        threadgroup_barrier(mem_flags::mem_threadgroup);
        cells[p.y][p.x] = alive;
    }
    out[16 * p.y + p.x] = alive;
}
