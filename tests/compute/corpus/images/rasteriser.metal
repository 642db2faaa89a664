// SPDX-License-Identifier: MIT
// Triangles over pixels by edge functions in fixed point, with depth by atomic minimum.
// run clear grid 256 group 32
// run draw grid 16x16x2 group 8x8x1
// buffer 0: in int4[6] = ((0, 0, 100, 0), (240, 16, 100, 0), (32, 224, 200, 0), (250, 250, 50, 0), (20, 130, 150, 0), (200, 10, 50, 0))[i]
// buffer 1: out uint[256] == min([depth(t, i % 16 * 16 + 8, i // 16 * 16 + 8) for t in (0, 1) if inside(t, i % 16 * 16 + 8, i // 16 * 16 + 8)], default=2 ** 32 - 1)
// python
// def edges(t, x, y):
//     p = b0[3 * t:3 * t + 3]
//     return [(b[0] - a[0]) * (y - a[1]) - (b[1] - a[1]) * (x - a[0]) for a, b in ((p[1], p[2]), (p[2], p[0]), (p[0], p[1]))]
// def inside(t, x, y): return min(edges(t, x, y)) >= 0
// def depth(t, x, y):
//     e = edges(t, x, y)
//     return sum(w * p[2] for w, p in zip(e, b0[3 * t:3 * t + 3])) // sum(e)
// end
#include <metal_stdlib>
using namespace metal;

static int edge(int2 a, int2 b, int2 p) { return (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x); }

kernel void clear(device uint* depths [[buffer(1)]], uint id [[thread_position_in_grid]]) {
    depths[id] = UINT_MAX;
}

kernel void draw(constant int4* corners [[buffer(0)]], device atomic_uint* depths [[buffer(1)]],
                 uint3 id [[thread_position_in_grid]]) {
    constant int4* c = corners + 3 * id.z;
    const int2 p = int2(id.xy) * 16 + 8;
    const int3 e(edge(c[1].xy, c[2].xy, p), edge(c[2].xy, c[0].xy, p), edge(c[0].xy, c[1].xy, p));
    if (any(e < 0))
        return;
    const uint depth = (e.x * c[0].z + e.y * c[1].z + e.z * c[2].z) / (e.x + e.y + e.z);
    atomic_fetch_min_explicit(&depths[id.y * 16 + id.x], depth, memory_order_relaxed);
}
