// SPDX-License-Identifier: MIT
// Columns read, assigned and swapped; elements by two indices; a rotation by *=.
// grid 12 group 12
// buffer 0: out float2[36] ~= rotated(i // 3, i % 3)
// buffer 1: out float4[12] == (i + 8, i + 1, i + 5, 40)
// python
// def rotated(t, k):
//     x, y = ((1, 2), (3, 4), (5, 6))[k]
//     c, s = cos(t / 4), sin(t / 4)
//     return (c * x - s * y, s * x + c * y)
// end
#include <metal_stdlib>
using namespace metal;

kernel void columns(device float2* rotated [[buffer(0)]], device float4* picked [[buffer(1)]],
                    uint id [[thread_position_in_grid]]) {
    float angle = id / 4.0;
    float2x2 r(cos(angle), sin(angle), -sin(angle), cos(angle));
    float2 points[] = {{1, 2}, {3, 4}, {5, 6}};
    for (int k = 0; k < 3; ++k) {
        points[k] = r * points[k];
        rotated[3 * id + k] = points[k];
    }
    float4x4 m;
    for (int c = 0; c < 4; ++c)
        m[c] = float4(c * 4 + id) + float4(0, 1, 2, 3);
    float4 first = m[0];
    m[0] = m[2];
    m[2] = first;
    m[3][3] = 40;
    m[1].yz = m[1].zy;
    picked[id] = float4(m[0].x, m[2][1], m[1][2], m[3].w);
}
