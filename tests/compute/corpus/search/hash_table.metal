// SPDX-License-Identifier: MIT
// A hash table filled by all threads at once with compare and exchange, then searched.
// run insert grid 48 group 16
// run find grid 96 group 32
// buffer 0: inout uint[128] = 0
// buffer 1: out uint[96] == (i * 3 + 1) % 6 == 1 and i * 3 + 1 < 288
#include <metal_stdlib>
using namespace metal;

static uint place(uint key) { return (key * 2654435761u) >> 25; }

kernel void insert(device atomic_uint* table [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    const uint key = id * 6 + 1;
    for (uint k = place(key);; k = (k + 1) & 127) {
        uint expected = 0;
        while (!atomic_compare_exchange_weak_explicit(&table[k], &expected, key, memory_order_relaxed,
                                                      memory_order_relaxed) &&
               expected == 0) {
        }
        if (expected == 0 || expected == key)
            return;
    }
}

kernel void find(device uint* table [[buffer(0)]], device uint* found [[buffer(1)]],
                 uint id [[thread_position_in_grid]]) {
    const uint key = id * 3 + 1;
    uint k = place(key);
    while (table[k] != 0 && table[k] != key)
        k = (k + 1) & 127;
    found[id] = table[k] == key;
}
