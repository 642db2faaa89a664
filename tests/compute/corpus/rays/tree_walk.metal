// SPDX-License-Identifier: MIT
// Points looked up in a binary tree of intervals with a stack in thread memory.
// grid 64 group 32
// buffer 0: in int4[15] = node(i)
// buffer 1: out uint[64] == sum(1 << k for k in range(8) if k * 6 <= i <= k * 6 + 9)
// python
// def node(i):     # low, high, left child or ~leaf, right child
//     level = (i + 1).bit_length() - 1
//     first = (i + 1 - 2 ** level) * 8 // 2 ** level
//     last = first + 8 // 2 ** level - 1
//     return (first * 6, last * 6 + 9, 2 * i + 1 if i < 7 else ~first, 2 * i + 2)
// end
#include <metal_stdlib>
using namespace metal;

kernel void find(constant int4* nodes [[buffer(0)]], device uint* out [[buffer(1)]],
                 uint id [[thread_position_in_grid]]) {
    int stack[8];
    int top = 0;
    stack[top++] = 0;
    uint found = 0;
    while (top > 0) {
        const int4 node = nodes[stack[--top]];
        if (int(id) < node.x || int(id) > node.y)
            continue;
        if (node.z < 0) {
            found |= 1u << ~node.z;
            continue;
        }
        stack[top++] = node.z;
        stack[top++] = node.w;
    }
    out[id] = found;
}
