// SPDX-License-Identifier: MIT
// Pointers into device, constant and thread memory: arithmetic, comparison, increments.
// grid 16 group 16
// buffer 0: in int[64] = (i * 11) % 23 - 5
// buffer 1: in int[4] = (2, 3, 5, 7)[i]
// buffer 2: out int[16] == sum(b0[4 * i + k] * b1[k] for k in range(4))
// buffer 3: out int[16] == next((k for k in range(4) if b0[4 * i + k] < 0), 4)
// buffer 4: out int[16] == max(b0[4 * i:4 * i + 4]) - min(b0[4 * i:4 * i + 4])
#include <metal_stdlib>
using namespace metal;

static int span(thread const int* first, thread const int* end) {
    int low = *first, high = *first;
    while (++first != end) {
        low = min(low, *first);
        high = max(high, *first);
    }
    return high - low;
}

kernel void walk(device const int* data [[buffer(0)]], constant int* weights [[buffer(1)]],
                 device int* sums [[buffer(2)]], device int* places [[buffer(3)]],
                 device int* spans [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    device const int* p = data + 4 * id;
    device const int* const end = p + 4;
    constant int* w = weights;
    int sum = 0;
    for (; p < end; ++p)
        sum += *p * *w++;
    sums[id] = sum;
    device const int* q = end - 4;
    while (q != end && *q >= 0)
        ++q;
    places[id] = int(q - (end - 4));
    int copy[4];
    for (int k = 0; k < 4; ++k)
        *(copy + k) = (end - 4)[k];
    spans[id] = span(copy, copy + 4);
}
