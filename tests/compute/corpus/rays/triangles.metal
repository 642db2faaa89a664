// SPDX-License-Identifier: MIT
// A ray against triangles: barycentric coordinates of the hit.
// grid 64 group 32
// buffer 0: in packed_float3[6] = ((0, 0, 4), (4, 0, 4), (0, 4, 5), (4, 4, 3), (4, 0, 4), (0, 4, 5))[i]
// buffer 1: out float3[64] ~= cast(i % 8 / 2 + 0.1, i // 8 / 2 + 0.15) within 1e-5
// python
// def sub(a, b): return [x - y for x, y in zip(a, b)]
// def dot(a, b): return sum(x * y for x, y in zip(a, b))
// def cross(a, b): return [a[1]*b[2]-a[2]*b[1], a[2]*b[0]-a[0]*b[2], a[0]*b[1]-a[1]*b[0]]
// def cast(x, y):
//     o, d = (x, y, 0), (0, 0, 1)
//     for k in (0, 3):
//         a, e1, e2 = b0[k], sub(b0[k + 1], b0[k]), sub(b0[k + 2], b0[k])
//         p = cross(d, e2); det = dot(e1, p); s = sub(o, a)
//         u = dot(s, p) / det; q = cross(s, e1); v = dot(d, q) / det
//         if u >= 0 and v >= 0 and u + v <= 1:
//             return (dot(e2, q) / det, u, v)
//     return (-1, 0, 0)
// end
#include <metal_stdlib>
using namespace metal;

static bool hits(float3 o, float3 d, float3 a, float3 b, float3 c, thread float3* result) {
    const float3 e1 = b - a, e2 = c - a, p = cross(d, e2), s = o - a, q = cross(s, e1);
    const float3 r = float3(dot(e2, q), dot(s, p), dot(d, q)) / dot(e1, p);
    *result = r;
    return r.y >= 0 && r.z >= 0 && r.y + r.z <= 1;
}

kernel void cast(constant packed_float3* corners [[buffer(0)]], device float3* out [[buffer(1)]],
                 uint id [[thread_position_in_grid]]) {
    const float3 o(float2(id % 8, id / 8) / 2 + float2(0.1, 0.15), 0);
    float3 r = float3(-1, 0, 0);
    for (uint k = 0; k < 6; k += 3) {
        float3 candidate;
        if (hits(o, float3(0, 0, 1), corners[k], corners[k + 1], corners[k + 2], &candidate)) {
            r = candidate;
            break;
        }
    }
    out[id] = r;
}
