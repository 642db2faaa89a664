// SPDX-License-Identifier: MIT
// Escape times of points in the Mandelbrot set, on numbers that float holds exactly enough.
// grid 32x16 group 16x16
// buffer 0: out ushort[512] == escape(i % 32 / 16 - 1.5, i // 32 / 8 - 1)
// python
// def escape(x, y):
//     c = complex(x, y)
//     z = 0
//     for k in range(12):
//         if abs(z) > 2: return k
//         z = z * z + c
//     return 12
// end
#include <metal_stdlib>
using namespace metal;

kernel void escape(device ushort* out [[buffer(0)]], ushort2 p [[thread_position_in_grid]]) {
    const float2 c(p.x / 16.0 - 1.5, p.y / 8.0 - 1);
    float2 z = 0;
    ushort k = 0;
    while (k < 12 && dot(z, z) <= 4) {
        z = float2(z.x * z.x - z.y * z.y, 2 * z.x * z.y) + c;
        ++k;
    }
    out[p.y * 32 + p.x] = k;
}
