// SPDX-License-Identifier: MIT
// A comparison handed to a sort, and a visitor of a tree in an array that is handed itself.
// grid 6 group 6
// buffer 0: in int[48] = (i * 31) % 47 - 20
// buffer 1: out int[48] == sorted(b0[i // 8 * 8:i // 8 * 8 + 8], key=lambda v: (abs(v), v) if i // 8 % 2 else (-v,))[i % 8]
// buffer 2: out int[6] == sum(v for k, v in enumerate(b0[8 * i:8 * i + 8]) if k < 7)
#include <metal_stdlib>
using namespace metal;

template <typename Less>
static void insertionSort(thread int* data, int n, Less less) {
    for (int k = 1; k < n; ++k) {
        const int value = data[k];
        int at = k;
        for (; at > 0 && less(value, data[at - 1]); --at)
            data[at] = data[at - 1];
        data[at] = value;
    }
}

template <typename Visit>
static void eachOfTree(device const int* tree, Visit visit) {
    int stack[4] = {0}, top = 1;
    while (top > 0) {
        const int node = stack[--top];
        visit(tree[node]);
        if (node < 3) {
            stack[top++] = 2 * node + 1;
            stack[top++] = 2 * node + 2;
        }
    }
}

kernel void sort(device const int* in [[buffer(0)]], device int* out [[buffer(1)]],
                 device int* sums [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    int data[8];
    for (uint k = 0; k < 8; ++k)
        data[k] = in[8 * id + k];
    if (id % 2)
        insertionSort(data, 8, [](int a, int b) {
            return abs(a) < abs(b) || (abs(a) == abs(b) && a < b);
        });
    else
        insertionSort(data, 8, [](int a, int b) { return a > b; });
    for (uint k = 0; k < 8; ++k)
        out[8 * id + k] = data[k];
    int sum = 0;
    eachOfTree(in + 8 * id, [&sum](int value) { sum += value; });
    sums[id] = sum;
}
