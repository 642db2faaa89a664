// SPDX-License-Identifier: MIT
// How many ways there are to place eight queens with the first at a given column, without recursion.
// grid 8 group 8
// buffer 0: out uint[8] == (4, 8, 16, 18, 18, 16, 8, 4)[i]
#include <metal_stdlib>
using namespace metal;

kernel void queens(device uint* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    constexpr uint n = 8, all = (1 << n) - 1;
    uint columns[n + 1], left[n + 1], right[n + 1], free[n + 1];
    columns[1] = 1u << id;
    left[1] = columns[1] << 1;
    right[1] = columns[1] >> 1;
    free[1] = all & ~(columns[1] | left[1] | right[1]);
    uint count = 0;
    for (uint row = 1; row > 0;) {
        if (free[row] == 0) {
            --row;
            continue;
        }
        const uint bit = free[row] & -free[row];
        free[row] ^= bit;
        if (row == n - 1) {
            ++count;
            continue;
        }
        columns[row + 1] = columns[row] | bit;
        left[row + 1] = (left[row] | bit) << 1;
        right[row + 1] = (right[row] | bit) >> 1;
        ++row;
        free[row] = all & ~(columns[row] | left[row] | right[row]);
    }
    out[id] = count;
}
