// SPDX-License-Identifier: MIT
// Quicksort of a row in each thread with a stack of its own, and binary search in the result.
// grid 8 group 8
// buffer 0: inout short[160] = (i * i * 13 + i * 7) % 97 == sorted(b0[i // 20 * 20:i // 20 * 20 + 20])[i % 20]
// buffer 1: out uint[8] == bisect.bisect_left(sorted(b0[20 * i:20 * i + 20]), 48)
// python
// import bisect
// end
#include <metal_stdlib>
using namespace metal;

static void swap(device short& a, device short& b) {
    const short t = a;
    a = b;
    b = t;
}

kernel void sort(device short* all [[buffer(0)]], device uint* places [[buffer(1)]],
                 uint id [[thread_position_in_grid]]) {
    device short* row = all + 20 * id;
    short2 stack[20];
    int depth = 0;
    stack[depth++] = short2(0, 19);
    while (depth) {
        const short2 range = stack[--depth];
        if (range.x >= range.y)
            continue;
        const short pivot = row[(range.x + range.y) / 2];
        short i = range.x, k = range.y;
        while (i <= k) {
            while (row[i] < pivot)
                ++i;
            while (row[k] > pivot)
                --k;
            if (i <= k)
                swap(row[i++], row[k--]);
        }
        stack[depth++] = short2(range.x, k);
        stack[depth++] = short2(i, range.y);
    }
    uint low = 0, high = 20;
    while (low < high) {
        const uint middle = (low + high) / 2;
        if (row[middle] < 48)
            low = middle + 1;
        else
            high = middle;
    }
    places[id] = low;
}
