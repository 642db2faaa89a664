// SPDX-License-Identifier: MIT
// Sphere tracing of a scene of distance functions: how far, and whether anything is there.
// grid 16x8 group 8x8
// buffer 0: out float[128] ~= marched(i)[0] within 1e-3
// buffer 1: out uint[128] == (marched(i)[0] < 20)
// python
// def scene(x, y, z):
//     torus = hypot(hypot(x, z - 4) - 1.5, y) - 0.4
//     return min(torus, y + 1.5)
// def marched(i):
//     d = ((i % 16 - 7.45) / 8, (i // 16 - 3.55) / 8, 1)
//     n = hypot(*d)
//     d = [v / n for v in d]
//     t = 0
//     for k in range(200):
//         s = scene(*(t * v for v in d))
//         if s < 1e-4 * t or t > 20: break
//         t += s
//     return (t if t < 20 else 20, k)
// end
#include <metal_stdlib>
using namespace metal;

static float scene(float3 p) {
    const float2 ring(length(float2(p.x, p.z - 4)) - 1.5, p.y);
    return min(length(ring) - 0.4, p.y + 1.5);
}

kernel void march(device float* out [[buffer(0)]], device uint* hits [[buffer(1)]],
                  uint2 p [[thread_position_in_grid]]) {
    const float3 d = normalize(float3((float2(p) - float2(7.45, 3.55)) / 8, 1));
    float t = 0;
    for (int k = 0; k < 200; ++k) {
        const float s = scene(t * d);
        if (s < 1e-4 * t || t > 20)
            break;
        t += s;
    }
    t = min(t, 20.0);
    out[p.y * 16 + p.x] = t;
    hits[p.y * 16 + p.x] = t < 20;
}
