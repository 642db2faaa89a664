// SPDX-License-Identifier: MIT
// Points and derivatives of cubic curves, by blending and by repeated interpolation.
// grid 33 group 11
// buffer 0: in float2[4] = ((0, 0), (1, 3), (4, -2), (5, 1))[i]
// buffer 1: out float2[33] ~= point(i / 32) within 2e-6
// buffer 2: out float2[33] ~= point(i / 32) within 2e-6
// buffer 3: out float2[33] ~= tuple(3 * sum(comb(2, k) * t ** k * (1 - t) ** (2 - k) * (b0[k + 1][c] - b0[k][c]) for k in range(3)) for t in (i / 32,) for c in (0, 1)) within 4e-6
// python
// def point(t): return tuple(sum(comb(3, k) * t ** k * (1 - t) ** (3 - k) * b0[k][c] for k in range(4)) for c in (0, 1))
// end
#include <metal_stdlib>
using namespace metal;

template <int N>
static float2 casteljau(constant float2* points, float t) {
    float2 p[N];
    for (int k = 0; k < N; ++k)
        p[k] = points[k];
    for (int n = N - 1; n > 0; --n)
        for (int k = 0; k < n; ++k)
            p[k] = mix(p[k], p[k + 1], t);
    return p[0];
}

kernel void curve(constant float2* p [[buffer(0)]], device float2* a [[buffer(1)]],
                  device float2* b [[buffer(2)]], device float2* c [[buffer(3)]],
                  uint id [[thread_position_in_grid]]) {
    const float t = id / 32.0, s = 1 - t;
    a[id] = casteljau<4>(p, t);
    const float4x4 basis({1, -3, 3, -1}, {0, 3, -6, 3}, {0, 0, 3, -3}, {0, 0, 0, 1});
    const float4x2 points(p[0], p[1], p[2], p[3]);
    b[id] = points * (float4(1, t, t * t, t * t * t) * basis);
    c[id] = 3 * (s * s * (p[1] - p[0]) + 2 * s * t * (p[2] - p[1]) + t * t * (p[3] - p[2]));
}
