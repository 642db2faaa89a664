// SPDX-License-Identifier: MIT
// Gradient noise with a permutation table in constant memory.
// grid 64 group 16
// buffer 0: out float[64] ~= perlin(i % 8 * 0.4, i // 8 * 0.3) within 2e-6
// python
// P = [(k * 7 + 3) % 16 for k in range(16)]
// def perlin(x, y):
//     ix, iy = floor(x), floor(y)
//     fx, fy = x - ix, y - iy
//     def fade(t): return t ** 3 * (t * (t * 6 - 15) + 10)
//     def g(dx, dy):
//         h = P[(P[(ix + dx) & 15] + iy + dy) & 15]
//         u, v = (fx - dx, fy - dy) if h & 4 else (fy - dy, fx - dx)
//         return (-u if h & 1 else u) + (-v if h & 2 else v)
//     def mix(a, b, t): return a + (b - a) * t
//     return mix(mix(g(0, 0), g(1, 0), fade(fx)), mix(g(0, 1), g(1, 1), fade(fx)), fade(fy))
// end
#include <metal_stdlib>
using namespace metal;

constant uchar table[16] = {3, 10, 1, 8, 15, 6, 13, 4, 11, 2, 9, 0, 7, 14, 5, 12};

static float gradient(int2 cell, float2 d) {
    const int h = table[(table[cell.x & 15] + cell.y) & 15];
    if (!(h & 4))
        d = d.yx;
    return (h & 1 ? -d.x : d.x) + (h & 2 ? -d.y : d.y);
}

template <typename T>
static T fade(T t) {
    return t * t * t * (t * (t * 6 - 15) + 10);
}

kernel void perlin(device float* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    const float2 p = float2(id % 8, id / 8) * float2(0.4, 0.3);
    const int2 c = int2(floor(p));
    const float2 f = p - floor(p);
    const float2 w = fade(f);
    float corners[2][2];
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 2; ++x)
            corners[y][x] = gradient(c + int2(x, y), f - float2(x, y));
    out[id] = mix(mix(corners[0][0], corners[0][1], w.x), mix(corners[1][0], corners[1][1], w.x), w.y);
}
