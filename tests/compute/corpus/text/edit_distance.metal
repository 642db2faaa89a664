// SPDX-License-Identifier: MIT
// How many edits lead from one word to another, with a row of the table in thread memory.
// grid 9 group 9
// buffer 0: in uchar[36] = b'kittensittingmetalmelodyabcgrid\0\0\0\0\0'[i]
// buffer 1: in uchar2[9] = PAIRS[i // 3]
// buffer 2: in uchar2[9] = PAIRS[i % 3 + 2]
// buffer 3: out uint[9] == distance(word(b1[i]), word(b2[i]))
// python
// PAIRS = [(0, 6), (6, 7), (13, 5), (18, 6), (24, 3)]
// def word(p): return b0[p[0]:p[0] + p[1]]
// def distance(a, b):
//     row = list(range(len(b) + 1))
//     for i, x in enumerate(a):
//         old, row[0] = row[0], i + 1
//         for k, y in enumerate(b):
//             old, row[k + 1] = row[k + 1], min(old + (x != y), row[k] + 1, row[k + 1] + 1)
//     return row[-1]
// end
#include <metal_stdlib>
using namespace metal;

kernel void distance(constant uchar* text [[buffer(0)]], device const uchar2* from [[buffer(1)]],
                     device const uchar2* to [[buffer(2)]], device uint* out [[buffer(3)]],
                     uint id [[thread_position_in_grid]]) {
    constant uchar* a = text + from[id].x;
    constant uchar* b = text + to[id].x;
    const uint m = from[id].y, n = to[id].y;
    uchar row[8];
    for (uint k = 0; k <= n; ++k)
        row[k] = k;
    for (uint i = 0; i < m; ++i) {
        uchar diagonal = row[0];
        row[0] = i + 1;
        for (uint k = 0; k < n; ++k) {
            const uchar above = row[k + 1];
            row[k + 1] = min(min(row[k], above) + 1, diagonal + (a[i] != b[k]));
            diagonal = above;
        }
    }
    out[id] = row[n];
}
