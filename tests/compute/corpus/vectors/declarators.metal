// SPDX-License-Identifier: MIT
// Vectors declared with parentheses, as constants of the program too.
// grid 10 group 10
// buffer 0: out half3[10] == (0.125 * i, 0.25 + i, 0.5 - i)
// buffer 1: out float2[10] == (i + 960, i - 540)
// buffer 2: out int3[10] == (-i, i * i, 5)
#include <metal_stdlib>
using namespace metal;

constant half3 light(0.125h, 0.25h, 0.5h);
constant float2 size(960, 540);

kernel void declare(device half3* a [[buffer(0)]], device float2* b [[buffer(1)]],
                    device int3* c [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    float2 position(id, -float(id));
    b[id] = position * float2(1, -1) + size * float2(1, -1);
    half h(id);
    half3 v(h * light.x, h + light.y, light.z - h);
    a[id] = v;
    int i(id);
    int3 w(-i, i * i, 5);
    c[id] = w;
}
