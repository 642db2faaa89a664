// SPDX-License-Identifier: MIT
// Shifts by vectors, by amounts of another sign, beyond the width, and of signed numbers.
// grid 32 group 32
// buffer 0: out int2[32] == (3 << i % 7, -5 << i % 5)
// buffer 1: out int2[32] == (-1000 >> i % 12, 1000 >> i % 12)
// buffer 2: out uint[32] == (1 << i) | (1 << (i + 32) % 32)
// buffer 3: out ulong[32] == 0x123456789abcdef0 >> 2 * i
#include <metal_stdlib>
using namespace metal;

kernel void shifts(device int2* a [[buffer(0)]], device int2* b [[buffer(1)]], device uint* c [[buffer(2)]],
                   device ulong* d [[buffer(3)]], uint id [[thread_position_in_grid]]) {
    a[id] = int2(3, -5) << int2(id % 7, id % 5);
    b[id] = int2(-1000, 1000) >> int(id % 12);
    c[id] = 1u << id | 1u << (id + 32);
    d[id] = 0x123456789abcdef0ul >> (2 * id);
}
