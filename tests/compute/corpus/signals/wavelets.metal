// SPDX-License-Identifier: MIT
// Haar wavelets of integers, forwards and back, with lifting steps that lose nothing.
// grid 8 group 8
// buffer 0: in short[128] = (i * i * 31) % 401 - 200
// buffer 1: out short[128] == b0[i]
// buffer 2: out short[8] == lowest(b0[16 * i:16 * i + 16])
// python
// def lowest(v):
//     while len(v) > 1:
//         v = [a + (b - a >> 1) for a, b in zip(v[::2], v[1::2])]
//     return v[0]
// end
#include <metal_stdlib>
using namespace metal;

kernel void haar(device const short* in [[buffer(0)]], device short* out [[buffer(1)]],
                 device short* lowest [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    short v[16];
    for (uint k = 0; k < 16; ++k)
        v[k] = in[16 * id + k];
    for (uint step = 1; step < 16; step *= 2)
        for (uint k = 0; k < 16; k += 2 * step) {
            v[k + step] -= v[k];
            v[k] += v[k + step] >> 1;
        }
    lowest[id] = v[0];
    for (uint step = 8; step > 0; step /= 2)
        for (uint k = 0; k < 16; k += 2 * step) {
            v[k] -= v[k + step] >> 1;
            v[k + step] += v[k];
        }
    for (uint k = 0; k < 16; ++k)
        out[16 * id + k] = v[k];
}
