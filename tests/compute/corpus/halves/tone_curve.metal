// SPDX-License-Identifier: MIT
// A filmic tone curve in half, as image filters have it, within what half can tell.
// grid 64 group 32
// buffer 0: in half4[64] = (i / 16, i / 32, i / 8, 1)
// buffer 1: out half4[64] ~= tuple(min(max(x * (2.51 * x + 0.03) / (x * (2.43 * x + 0.59) + 0.14), 0), 1) for x in b0[i][:3]) + (1,) within 4e-3
#include <metal_stdlib>
using namespace metal;

static half3 curve(half3 x) {
    return saturate((x * (2.51h * x + 0.03h)) / (x * (2.43h * x + 0.59h) + 0.14h));
}

kernel void tone(device const half4* in [[buffer(0)]], device half4* out [[buffer(1)]],
                 uint id [[thread_position_in_grid]]) {
    out[id] = half4(curve(in[id].rgb), in[id].a);
}
