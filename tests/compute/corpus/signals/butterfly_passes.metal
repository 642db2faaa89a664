// SPDX-License-Identifier: MIT
// A Walsh-Hadamard transform of 64 points in place, one dispatch for each pass.
// run first grid 32 group 32
// run second grid 32 group 32
// run third grid 32 group 32
// buffer 0: inout int[64] = (i * 11) % 23 - 9 == spread(i)
// python
// def spread(i):
//     high, low = i & ~7, i & 7
//     return sum(b0[high + k] * (-1) ** (k & low).bit_count() for k in range(8))
// end
#include <metal_stdlib>
using namespace metal;

template <uint Distance>
static void pass(device int* data, uint id) {
    const uint k = (id / Distance) * 2 * Distance + id % Distance;
    const int a = data[k], b = data[k + Distance];
    data[k] = a + b;
    data[k + Distance] = a - b;
}

kernel void first(device int* data [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    pass<1>(data, id);
}
kernel void second(device int* data [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    pass<2>(data, id);
}
kernel void third(device int* data [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    pass<4>(data, id);
}
