// SPDX-License-Identifier: MIT
// Blocks of 8 x 8 by a cosine transform, coefficients in a table made at compile time.
// grid 8x8 group 8x8
// buffer 0: in float[64] = (i * i * 3 + i) % 64
// buffer 1: out float[64] ~= coefficient(i % 8, i // 8) within 2e-5
// python
// def basis(k, n): return cos(pi * (2 * n + 1) * k / 16) * (sqrt(1 / 8) if k == 0 else 0.5)
// def coefficient(u, v):
//     return sum(b0[y * 8 + x] * basis(u, x) * basis(v, y) for y in range(8) for x in range(8))
// end
#include <metal_stdlib>
using namespace metal;

constant float a = 0.5, s = 0.353553390593;
constant float cosines[9] = {1, 0.980785280403, 0.923879532511, 0.831469612303, 0.707106781187,
                             0.555570233020, 0.382683432365, 0.195090322016, 0};

static float basis(uint k, uint n) {
    uint angle = (2 * n + 1) * k % 32;
    angle = angle > 16 ? 32 - angle : angle;
    const float c = angle > 8 ? -cosines[16 - angle] : cosines[angle];
    return c * (k == 0 ? s : a);
}

kernel void transform(device const float* in [[buffer(0)]], device float* out [[buffer(1)]],
                      uint2 p [[thread_position_in_grid]]) {
    float sum = 0;
    for (uint y = 0; y < 8; ++y) {
        float row = 0;
        for (uint x = 0; x < 8; ++x)
            row = fma(in[y * 8 + x], basis(p.x, x), row);
        sum = fma(row, basis(p.y, y), sum);
    }
    out[p.y * 8 + p.x] = sum;
}
