// SPDX-License-Identifier: MIT
// Morton codes of points, and places on a Hilbert curve and back.
// grid 64 group 32
// buffer 0: out uint[64] == sum((i % 8 >> k & 1) << 2 * k | (i // 8 >> k & 1) << 2 * k + 1 for k in range(3))
// buffer 1: out uint[64] == HILBERT.index((i % 8, i // 8))
// buffer 2: out uint2[64] == HILBERT[i]
// python
// def curve(n):
//     if n == 0: return [(0, 0)]
//     part, size = curve(n - 1), 1 << n - 1
//     return ([(y, x) for x, y in part] + [(x, y + size) for x, y in part] +
//             [(x + size, y + size) for x, y in part] +
//             [(2 * size - 1 - y, size - 1 - x) for x, y in part])
// HILBERT = curve(3)
// end
#include <metal_stdlib>
using namespace metal;

static uint spread(uint x) {
    x = (x | x << 8) & 0x00ff00ff;
    x = (x | x << 4) & 0x0f0f0f0f;
    x = (x | x << 2) & 0x33333333;
    return (x | x << 1) & 0x55555555;
}

static uint2 turned(uint2 p, uint size, uint2 quarter) {
    if (quarter.y == 0) {
        if (quarter.x == 1)
            p = size - 1 - p;
        p = p.yx;
    }
    return p;
}

kernel void curves(device uint* morton [[buffer(0)]], device uint* place [[buffer(1)]],
                   device uint2* point [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    uint2 p(id & 7, id >> 3);
    morton[id] = spread(p.x) | spread(p.y) << 1;
    uint d = 0;
    for (uint s = 4; s > 0; s /= 2) {
        const uint2 q(uint2((p & s) != 0));
        d += s * s * ((3 * q.x) ^ q.y);
        p = turned(p & (s - 1), s, q);
    }
    place[id] = d;
    uint2 r = 0;
    uint t = id;
    for (uint s = 1; s < 8; s *= 2, t /= 4) {
        const uint x = 1 & t / 2;
        const uint2 q(x, 1 & (t ^ x));
        r = turned(r, s, q) + s * q;
    }
    point[id] = r;
}
