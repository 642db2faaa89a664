// SPDX-License-Identifier: MIT
// Rays against boxes by slabs, with directions along an axis.
// grid 64 group 32
// buffer 0: in float3[64] = (i % 8 - 3.5, i // 8 - 3.5, -5)
// buffer 1: in float3[64] = ((0, 0, 1), (0.25, 0, 1), (0, -0.25, 1), (0.5, 0.5, 1))[i % 4]
// buffer 2: out float2[64] ~= span(b0[i], b1[i])
// python
// def span(o, d):
//     near, far = 0, inf
//     for p, v in zip(o, d):
//         if v == 0:
//             if abs(p) > 2: return (-1, -1)
//             continue
//         a, b = sorted(((-2 - p) / v, (2 - p) / v))
//         near, far = max(near, a), min(far, b)
//     return (near, far) if near <= far else (-1, -1)
// end
#include <metal_stdlib>
using namespace metal;

struct Ray {
    float3 origin, direction;
    float3 inverse() const thread { return 1 / direction; }
};

kernel void slabs(device const float3* origins [[buffer(0)]], device const float3* directions [[buffer(1)]],
                  device float2* spans [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    const Ray ray{origins[id], directions[id]};
    const float3 i = ray.inverse();
    const float3 a = (-2 - ray.origin) * i, b = (2 - ray.origin) * i;
    const float3 low = min(a, b), high = max(a, b);
    const float near = max(max(low.x, low.y), max(low.z, 0.0f));
    const float far = min(high.x, min(high.y, high.z));
    spans[id] = near <= far ? float2(near, far) : -1;
}
