// SPDX-License-Identifier: MIT
// Sorting by counting how many elements come first, stable, with a second array of values.
// grid 64 group 32
// buffer 0: in int[64] = (i * 29) % 17 - 8
// buffer 1: out int[64] == sorted(b0)[i]
// buffer 2: out uint[64] == sorted(range(64), key=lambda k: (b0[k], k))[i]
#include <metal_stdlib>
using namespace metal;

kernel void rank(device const int* keys [[buffer(0)]], device int* sorted [[buffer(1)]],
                 device uint* order [[buffer(2)]], uint id [[thread_position_in_grid]],
                 uint n [[threads_per_grid]]) {
    const int key = keys[id];
    uint place = 0;
    for (uint k = 0; k < n; ++k) {
        const int other = keys[k];
        place += other < key || (other == key && k < id);
    }
    sorted[place] = key;
    order[place] = id;
}
