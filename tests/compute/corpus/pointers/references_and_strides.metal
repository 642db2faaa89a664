// SPDX-License-Identifier: MIT
// References to elements, swapped through functions; strided and negative indices; pointers to pointers.
// grid 8 group 8
// buffer 0: inout float4[16] = (i, i + 1, i + 2, i + 3) == (b0[15 - i] if i in (0, 15) else b0[i])
// buffer 1: in int[64] = i * i % 50
// buffer 2: out int[8] == b1[8 * i + 7] - b1[8 * i] + b1[56 - 8 * i + 3]
#include <metal_stdlib>
using namespace metal;

static void swap(device float4& a, device float4& b) {
    const float4 t = a;
    a = b;
    b = t;
}

static int column(device const int* p, int stride, int row) {
    return p[stride * row];
}

kernel void move(device float4* data [[buffer(0)]], device const int* table [[buffer(1)]],
                 device int* out [[buffer(2)]], uint id [[thread_position_in_grid]],
                 uint n [[threads_per_grid]]) {
    if (id == 0)
        swap(data[0], data[2 * n - 1]);
    device const int* end = table + 8 * id + 8;
    const int first = end[-8], last = *(end - 1);
    thread const int* both[2] = {&first, &last};
    out[id] = *both[1] - *both[0] + column(table + 56 + 3, -8, id);
}
