// SPDX-License-Identifier: MIT
// Edges by the Sobel operator, read as half.
// grid 8x8 group 8x8
// texture 0: in 2d r8unorm 8x8 = (x * x * 3 + y * 11) % 200
// buffer 0: out float[64] ~= edge(i % 8, i // 8) within 4e-3
// python
// def edge(x, y):
//     def t(dx, dy): return t0[min(max(x + dx, 0), 7), min(max(y + dy, 0), 7), 0, 0][0] / 255
//     gx = t(1, -1) + 2 * t(1, 0) + t(1, 1) - t(-1, -1) - 2 * t(-1, 0) - t(-1, 1)
//     gy = t(-1, 1) + 2 * t(0, 1) + t(1, 1) - t(-1, -1) - 2 * t(0, -1) - t(1, -1)
//     return hypot(gx, gy)
// end
#include <metal_stdlib>
using namespace metal;

kernel void sobel(texture2d<half> image [[texture(0)]], device float* out [[buffer(0)]],
                  uint2 p [[thread_position_in_grid]]) {
    constexpr sampler s(coord::pixel, filter::nearest, address::clamp_to_edge);
    half3x3 t;
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x)
            t[x][y] = image.sample(s, float2(p) + float2(x - 0.5, y - 0.5)).r;
    const half3 w(1, 2, 1);
    const float gx = dot(t[2] - t[0], w);
    const float gy = dot(float3(t[0][2], t[1][2], t[2][2]) - float3(t[0][0], t[1][0], t[2][0]), float3(w));
    out[p.y * 8 + p.x] = length(float2(gx, gy));
}
