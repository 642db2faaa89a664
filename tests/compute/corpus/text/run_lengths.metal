// SPDX-License-Identifier: MIT
// Runs of equal bytes as pairs, and from pairs back to bytes.
// grid 8 group 8
// buffer 0: in uchar[128] = (i * i // 16) % 5
// buffer 1: out uchar[256] == (runs(i // 32) + [0] * 32)[i % 32]
// buffer 2: out uchar[128] == b0[i]
// python
// import itertools
// def runs(row):
//     return [v for key, group in itertools.groupby(b0[16 * row:16 * row + 16]) for v in (len(list(group)), key)]
// end
#include <metal_stdlib>
using namespace metal;

kernel void code(device const uchar* in [[buffer(0)]], device uchar* pairs [[buffer(1)]],
                 device uchar* back [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    in += 16 * id;
    pairs += 32 * id;
    back += 16 * id;
    uint n = 0;
    for (uint k = 0; k < 16; n += 2) {
        uint end = k + 1;
        while (end < 16 && in[end] == in[k])
            ++end;
        pairs[n] = end - k;
        pairs[n + 1] = in[k];
        k = end;
    }
    uint at = 0;
    for (device const uchar* p = pairs; p[0] != 0 && at < 16; p += 2)
        for (uchar left = p[0]; left > 0; --left)
            back[at++] = p[1];
}
