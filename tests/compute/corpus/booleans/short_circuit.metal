// SPDX-License-Identifier: MIT
// Operands that are evaluated only when needed, counted by their effects, and flags in words.
// grid 32 group 32
// buffer 0: out uint[32] == (i % 2 == 0) + 2 * (i % 2 == 0 and i % 3 == 0) + 4 * (i % 5 == 0 or i % 7 == 0)
// buffer 1: out uint[32] == 1 + (i % 2 == 0) + 1 + (i % 5 != 0)
// buffer 2: out bool4[32] == (i % 2 == 0, i > 16, not i > 16, (i % 2 == 0) != (i > 16))
#include <metal_stdlib>
using namespace metal;

static bool noted(bool value, thread uint& count) {
    ++count;
    return value;
}

kernel void conditions(device uint* a [[buffer(0)]], device uint* b [[buffer(1)]],
                       device bool4* c [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    uint count = 0;
    const bool even = id % 2 == 0;
    const bool sixth = noted(even, count) && noted(id % 3 == 0, count);
    const bool other = noted(id % 5 == 0, count) || noted(id % 7 == 0, count);
    a[id] = uint(even) | uint(sixth) << 1 | (other ? 4u : 0u);
    b[id] = count;
    const bool late = id > 16;
    c[id] = bool4(even, late, !late, even != late);
}
