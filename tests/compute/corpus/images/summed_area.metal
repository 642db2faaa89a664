// SPDX-License-Identifier: MIT
// A summed-area table by rows and columns, and box sums out of it.
// run rows grid 8 group 8
// run columns grid 16 group 16
// run boxes grid 16x8 group 8x8
// buffer 0: in uchar[128] = (i * 31) % 100
// buffer 1: inout uint[128] = 0 == sum(b0[y * 16 + x] for y in range(i // 16 + 1) for x in range(i % 16 + 1))
// buffer 2: out uint[128] == sum(b0[y * 16 + x] for y in range(max(i // 16 - 1, 0), min(i // 16 + 2, 8)) for x in range(max(i % 16 - 1, 0), min(i % 16 + 2, 16)))
#include <metal_stdlib>
using namespace metal;

kernel void rows(device const uchar* in [[buffer(0)]], device uint* table [[buffer(1)]],
                 uint y [[thread_position_in_grid]]) {
    uint sum = 0;
    for (uint x = 0; x < 16; ++x)
        table[y * 16 + x] = sum += in[y * 16 + x];
}

kernel void columns(device uint* table [[buffer(1)]], uint x [[thread_position_in_grid]]) {
    for (uint y = 1; y < 8; ++y)
        table[y * 16 + x] += table[(y - 1) * 16 + x];
}

kernel void boxes(device const uint* table [[buffer(1)]], device uint* out [[buffer(2)]],
                  uint2 p [[thread_position_in_grid]]) {
    const auto at = [&](int x, int y) { return x < 0 || y < 0 ? 0 : table[min(y, 7) * 16 + min(x, 15)]; };
    const int x = p.x, y = p.y;
    out[y * 16 + x] = at(x + 1, y + 1) - at(x - 2, y + 1) - at(x + 1, y - 2) + at(x - 2, y - 2);
}
