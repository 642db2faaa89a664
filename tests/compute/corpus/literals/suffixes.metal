// SPDX-License-Identifier: MIT
// Literals of all kinds and bases; unsuffixed floating-point ones are float.
// grid 4 group 4
// buffer 0: out float[4] == (f32(0.1), f32(1e-3), f32(2.5e10), 0.5)[i]
// buffer 1: out half[4] == (0.5, 1, f16(0.1), 65504)[i]
// buffer 2: out uint[4] == (0xffffffff, 0b1011, 0o17, 1000000)[i]
// buffer 3: out long[4] == (-1, 2**40, 2**63 - 1, ord('a'))[i]
// buffer 4: out int[4] == (4, 2, 4, 8)[i]
// buffer 5: out float[4] == f32(f32(i + 1) * f32(0.1))
#include <metal_stdlib>
using namespace metal;

kernel void literals(device float* a [[buffer(0)]], device half* b [[buffer(1)]],
                     device uint* c [[buffer(2)]], device long* d [[buffer(3)]],
                     device int* e [[buffer(4)]], device float* f [[buffer(5)]],
                     uint id [[thread_position_in_grid]]) {
    const float floats[] = {0.1, 1e-3f, 2.5e10, .5};
    const half halves[] = {0.5h, 1h, 0.1h, 65504.0h};
    const uint uints[] = {0xffffffff, 0b1011u, 017, 1'000'000u};
    const long longs[] = {-1L, 1L << 40, 0x7fffffffffffffff, 'a'};
    const int sizes[] = {sizeof(0.1), sizeof(0.1h), sizeof(1u), sizeof(1L)};
    a[id] = floats[id];
    b[id] = halves[id];
    c[id] = uints[id];
    d[id] = longs[id];
    e[id] = sizes[id];
    f[id] = (id + 1) * 0.1;
}
