// SPDX-License-Identifier: MIT
// Complex arithmetic: roots of a polynomial by Newton's method, and which of three each start finds.
// grid 16x16 group 16x16
// buffer 0: out int[256] == found(i)[0]
// buffer 1: out float[256] ~= 1 within 1e-5
// python
// import cmath
// def start(i): return complex(i % 16 - 7.3, i // 16 - 7.7) / 4
// def found(i):
//     z = start(i)
//     for k in range(60):
//         z = z - (z ** 3 - 1) / (3 * z ** 2)
//     return (round(cmath.phase(z) / (2 * pi / 3)), k)
// end
#include <metal_stdlib>
using namespace metal;

using Complex = float2;
static Complex times(Complex a, Complex b) { return {a.x * b.x - a.y * b.y, a.x * b.y + a.y * b.x}; }
static Complex over(Complex a, Complex b) { return times(a, float2(b.x, -b.y)) / dot(b, b); }

kernel void newton(device int* roots [[buffer(0)]], device float* sizes [[buffer(1)]],
                   uint2 p [[thread_position_in_grid]]) {
    Complex z = (float2(p) - float2(7.3, 7.7)) / 4;
    for (int k = 0; k < 60; ++k) {
        const Complex square = times(z, z);
        const Complex step = over(times(square, z) - float2(1, 0), 3 * square);
        z -= step;
        if (length_squared(step) < 1e-12)
            break;
    }
    roots[p.y * 16 + p.x] = int(rint(atan2(z.y, z.x) / (2 * M_PI_F / 3)));
    sizes[p.y * 16 + p.x] = length(z);
}
