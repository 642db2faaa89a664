// SPDX-License-Identifier: MIT
// A pass of radix sort in three kernels: counts for each block, their prefix sums, scattering.
// run count grid 8 group 8
// run prefix grid 1 group 1
// run scatter grid 8 group 8
// buffer 0: in uint[64] = (i * 2654435761 >> 9) % 4096
// buffer 1: inout uint[128] = 0 == sum(v >> 4 & 15 < i // 8 or (v >> 4 & 15 == i // 8 and k // 8 < i % 8) for k, v in enumerate(b0)) + sum((v >> 4 & 15) == i // 8 for v in b0[i % 8 * 8:i % 8 * 8 + 8])
// buffer 2: out uint[64] == sorted(b0, key=lambda v: v >> 4 & 15)[i]
#include <metal_stdlib>
using namespace metal;

constant uint blockSize = 8, blocks = 8;

static uint digit(uint key) { return extract_bits(key, 4, 4); }

kernel void count(device const uint* keys [[buffer(0)]], device uint* counts [[buffer(1)]],
                  uint block [[thread_position_in_grid]]) {
    uint mine[16] = {};
    for (uint k = 0; k < blockSize; ++k)
        ++mine[digit(keys[block * blockSize + k])];
    for (uint d = 0; d < 16; ++d)
        counts[d * blocks + block] = mine[d];
}

kernel void prefix(device uint* counts [[buffer(1)]]) {
    uint sum = 0;
    for (uint k = 0; k < 16 * blocks; ++k) {
        const uint count = counts[k];
        counts[k] = sum;
        sum += count;
    }
}

kernel void scatter(device const uint* keys [[buffer(0)]], device uint* places [[buffer(1)]],
                    device uint* sorted [[buffer(2)]], uint block [[thread_position_in_grid]]) {
    for (uint k = 0; k < blockSize; ++k) {
        const uint key = keys[block * blockSize + k];
        sorted[places[digit(key) * blocks + block]++] = key;
    }
}
