// SPDX-License-Identifier: MIT
// Which of sixteen cases a cell of a field is in, and where its edges are crossed.
// grid 8x8 group 8x8
// buffer 0: out uchar[64] == case(i % 8, i // 8)
// buffer 1: out float2[64] ~= (crossing(i % 8, i // 8, 1, 0), crossing(i % 8, i // 8, 0, 1)) within 1e-5
// python
// def field(x, y): return (x - 3.7) ** 2 + (y - 4.1) ** 2 - 7.5
// def case(x, y): return sum((field(x + dx, y + dy) < 0) << k for k, (dx, dy) in enumerate(((0, 0), (1, 0), (1, 1), (0, 1))))
// def crossing(x, y, dx, dy):
//     a, b = field(x, y), field(x + dx, y + dy)
//     return a / (a - b) if (a < 0) != (b < 0) else -1
// end
#include <metal_stdlib>
using namespace metal;

static float field(float2 p) {
    const float2 d = p - float2(3.7, 4.1);
    return dot(d, d) - 7.5;
}

kernel void march(device uchar* cases [[buffer(0)]], device float2* crossings [[buffer(1)]],
                  uint2 p [[thread_position_in_grid]]) {
    constexpr float2 corners[] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    float values[4];
    uchar which = 0;
    for (int k = 0; k < 4; ++k) {
        values[k] = field(float2(p) + corners[k]);
        which |= (values[k] < 0) << k;
    }
    const auto crossing = [](float a, float b) { return (a < 0) != (b < 0) ? a / (a - b) : -1; };
    cases[p.y * 8 + p.x] = which;
    crossings[p.y * 8 + p.x] = float2(crossing(values[0], values[1]), crossing(values[0], values[3]));
}
