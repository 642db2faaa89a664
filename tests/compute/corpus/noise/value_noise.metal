// SPDX-License-Identifier: MIT
// Value noise in two dimensions with a hash of integers, and four octaves of it.
// grid 16x8 group 8x8
// buffer 0: out float[128] ~= noise(i % 16 * 0.37, i // 16 * 0.61) within 2e-6
// buffer 1: out float[128] ~= sum(0.5 ** (k + 1) * noise(i % 16 * 0.37 * 2 ** k, i // 16 * 0.61 * 2 ** k) for k in range(4)) within 1e-5
// python
// def hashed(x, y):
//     h = u32(x * 374761393 + y * 668265263)
//     h = u32((h ^ h >> 13) * 1274126177)
//     return ((h ^ h >> 16) & 0xffff) / 65535
// def noise(x, y):
//     ix, iy = floor(x), floor(y)
//     fx, fy = x - ix, y - iy
//     sx, sy = fx * fx * (3 - 2 * fx), fy * fy * (3 - 2 * fy)
//     a, b, c, d = (hashed(ix + dx, iy + dy) for dy in (0, 1) for dx in (0, 1))
//     return (a + (b - a) * sx) * (1 - sy) + (c + (d - c) * sx) * sy
// end
#include <metal_stdlib>
using namespace metal;

static float hashed(int2 p) {
    uint h = uint(p.x) * 374761393u + uint(p.y) * 668265263u;
    h = (h ^ (h >> 13)) * 1274126177u;
    return ((h ^ (h >> 16)) & 0xffff) / 65535.0;
}

static float noise(float2 p) {
    const float2 f = fract(p);
    const int2 i(floor(p));
    const float2 s = f * f * (3 - 2 * f);
    return mix(mix(hashed(i), hashed(i + int2(1, 0)), s.x),
               mix(hashed(i + int2(0, 1)), hashed(i + 1), s.x), s.y);
}

kernel void octaves(device float* one [[buffer(0)]], device float* four [[buffer(1)]],
                    uint2 p [[thread_position_in_grid]]) {
    float2 at = float2(p) * float2(0.37, 0.61);
    const uint k = p.y * 16 + p.x;
    one[k] = noise(at);
    float sum = 0, weight = 0.5;
    for (int octave = 0; octave < 4; ++octave, at *= 2, weight /= 2)
        sum += weight * noise(at);
    four[k] = sum;
}
