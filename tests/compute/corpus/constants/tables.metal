// SPDX-License-Identifier: MIT
// Tables of constants: at program level, static in structures and functions, of vectors.
// grid 32 group 32
// buffer 0: out int[32] == (1, 2, 1, 2, 4, 2, 1, 2, 1)[i % 9] * 10 + (3, 1, 4, 1, 5)[i % 5]
// buffer 1: out float2[32] == ((0, 1), (1, 0), (0, -1), (-1, 0))[i % 4]
// buffer 2: out uint[32] == (1, 1, 2, 3, 5, 8, 13, 21)[i % 8]
#include <metal_stdlib>
using namespace metal;

constant int N = 9;
constant int weights[N] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
constant float2 directions[] = {float2(0, 1), float2(1, 0), float2(0, -1), float2(-1, 0)};

struct Digits {
    static constexpr constant int values[5] = {3, 1, 4, 1, 5};
    static int at(uint k) { return values[k % 5]; }
};

kernel void tables(device int* a [[buffer(0)]], device float2* b [[buffer(1)]], device uint* c [[buffer(2)]],
                   uint id [[thread_position_in_grid]]) {
    a[id] = weights[id % N] * 10 + Digits::at(id);
    b[id] = directions[id % 4];
    constexpr int n = 8;
    array<uint, n> fibonacci = {1, 1};
    for (int k = 2; k < n; ++k)
        fibonacci[k] = fibonacci[k - 1] + fibonacci[k - 2];
    c[id] = fibonacci[id % fibonacci.size()];
}
