// SPDX-License-Identifier: MIT
// A row of cells under rule 110, thirty-two cells in a word, eight generations.
// grid 4 group 4
// buffer 0: in uint[4] = (1, 0x80000000, 0x12345678, 0xdeadbeef)[i]
// buffer 1: out uint[32] == generations(b0[i // 8], i % 8 + 1)
// python
// def generations(w, n):
//     for _ in range(n):
//         w = sum((110 >> ((w >> (k + 1) % 32 & 1) * 4 + (w >> k & 1) * 2 + (w >> (k - 1) % 32 & 1)) & 1) << k for k in range(32))
//     return w
// end
#include <metal_stdlib>
using namespace metal;

kernel void rule(device const uint* in [[buffer(0)]], device uint* out [[buffer(1)]],
                 uint id [[thread_position_in_grid]]) {
    uint cells = in[id];
    for (uint k = 0; k < 8; ++k) {
        const uint left = rotate(cells, 31u), right = rotate(cells, 1u);
        cells = (cells | right) & ~(cells & left & right);
        out[8 * id + k] = cells;
    }
}
