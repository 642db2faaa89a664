// SPDX-License-Identifier: MIT
// Library functions called with mixtures of literals, integers, halves and floats.
// grid 32 group 32
// buffer 0: in float[32] = i / 4 - 3
// buffer 1: out float[32] ~= pow(2, b0[i])
// buffer 2: out int[32] == min(max(i - 9, 0), 15)
// buffer 3: out half[32] == max(b0[i], 0)
// buffer 4: out float[32] ~= min(max(b0[i], -1), 1) + (b0[i] > 0) - (b0[i] < 0)
// buffer 5: out uint[32] == max(min(i, 9), 4)
// buffer 6: out float[32] ~= 0.25 * b0[i] + 0.75 * 2
#include <metal_stdlib>
using namespace metal;

kernel void mix(device const float* in [[buffer(0)]], device float* a [[buffer(1)]],
                device int* b [[buffer(2)]], device half* c [[buffer(3)]],
                device float* d [[buffer(4)]], device uint* e [[buffer(5)]],
                device float* f [[buffer(6)]], uint id [[thread_position_in_grid]]) {
    const float x = in[id];
    a[id] = pow(2, x);
    b[id] = clamp(int(id) - 9, 0, 15);
    half h = half(x);
    c[id] = max(h, 0.0h);
    d[id] = clamp(x, -1.0, 1.0) + sign(x);
    e[id] = max(min(id, 9u), 4u);
    f[id] = metal::mix(2.0, x, 0.25);
}
