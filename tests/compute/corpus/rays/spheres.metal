// SPDX-License-Identifier: MIT
// Rays against spheres in constant memory: the nearest hit, its number and normal.
// grid 16x16 group 8x8
// buffer 0: in float4[4] = ((0, 0, 5, 1), (1.5, 0.5, 6, 1.25), (-1, 1, 4, 0.5), (0, -101, 5, 100))[i]
// buffer 1: out float[256] ~= hit(i)[0] within 2e-4
// buffer 2: out int[256] == hit(i)[1]
// buffer 3: out float3[256] ~= hit(i)[2] within 5e-4
// python
// def hit(i):
//     d = ((i % 16 - 7.37) / 12, (i // 16 - 7.41) / 12, 1)
//     n = sqrt(sum(x * x for x in d))
//     d = [x / n for x in d]
//     best = (-1, -1, (0, 0, 0))
//     for k, (x, y, z, r) in enumerate(b0):
//         b = x * d[0] + y * d[1] + z * d[2]
//         q = b * b - (x * x + y * y + z * z - r * r)
//         if q < 0: continue
//         t = b - sqrt(q)
//         if t > 0 and (best[0] < 0 or t < best[0]):
//             best = (t, k, tuple((t * a - c) / r for a, c in zip(d, (x, y, z))))
//     return best
// end
#include <metal_stdlib>
using namespace metal;

struct Hit {
    float t = -1;
    int sphere = -1;
    float3 normal = 0;
};

static bool intersect(float3 o, float3 d, float4 s, thread float& t) {
    const float3 c = s.xyz - o;
    const float b = dot(c, d);
    const float3 away = c - b * d;
    const float q = s.w * s.w - dot(away, away);
    if (q < 0)
        return false;
    t = b - sqrt(q);
    return t > 0;
}

kernel void trace(constant float4* spheres [[buffer(0)]], device float* distances [[buffer(1)]],
                  device int* numbers [[buffer(2)]], device float3* normals [[buffer(3)]],
                  uint2 p [[thread_position_in_grid]]) {
    const float3 d = normalize(float3((float2(p) - float2(7.37, 7.41)) / 12, 1));
    Hit best;
    for (int k = 0; k < 4; ++k) {
        float t;
        if (!intersect(0, d, spheres[k], t) || (best.t >= 0 && t >= best.t))
            continue;
        best.t = t;
        best.sphere = k;
        best.normal = (t * d - spheres[k].xyz) / spheres[k].w;
    }
    const uint at = p.y * 16 + p.x;
    distances[at] = best.t;
    numbers[at] = best.sphere;
    normals[at] = best.normal;
}
