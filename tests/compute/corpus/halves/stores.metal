// SPDX-License-Identifier: MIT
// One sum per store, each rounded as a half must be.
// grid 64 group 32
// buffer 0: in half2[64] = (2000 + i * 3, 0.25 + i / 8)
// buffer 1: out half[64] == f16(b0[i][0] + b0[i][1])
// buffer 2: out float[64] == f16(b0[i][0] * 1.25)
// buffer 3: out half[64] == f16(60000 + 100 * i)
// buffer 4: out bool[64] == isinf(f16(60000 + 100 * i))
#include <metal_stdlib>
using namespace metal;

kernel void stores(device const half2* in [[buffer(0)]], device half* a [[buffer(1)]],
                   device float* b [[buffer(2)]], device half* c [[buffer(3)]],
                   device bool* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    a[id] = in[id].x + in[id].y;
    b[id] = float(half(float(in[id].x) * 1.25f));
    float large = 60000 + 100.0f * id;
    c[id] = half(large);
    half h = half(large);
    d[id] = isinf(h);
}
