// SPDX-License-Identifier: MIT
// Loops of every form, with jumps, and a switch with fall-through.
// grid 64 group 32
// buffer 0: out uint[64] == collatz(i + 1)
// buffer 1: out uint[64] == sum(k for k in range(i) if k % 3 and k < 40)
// buffer 2: out int[64] == (10 + 20 + 40 if i % 5 == 0 else 20 + 40 if i % 5 == 1 else 40 if i % 5 == 2 else -1 if i % 5 == 3 else 99)
// buffer 3: out uint[64] == next(a * 100 + b for a in range(1, 70) for b in range(a, 70) if a * b >= i)
// python
// def collatz(n):
//     steps = 0
//     while n != 1:
//         n = 3 * n + 1 if n % 2 else n // 2
//         steps += 1
//     return steps
// end
#include <metal_stdlib>
using namespace metal;

kernel void loops(device uint* a [[buffer(0)]], device uint* b [[buffer(1)]], device int* c [[buffer(2)]],
                  device uint* d [[buffer(3)]], uint id [[thread_position_in_grid]]) {
    uint n = id + 1, steps = 0;
    while (n != 1) {
        n = n & 1 ? 3 * n + 1 : n / 2;
        ++steps;
    }
    a[id] = steps;
    uint sum = 0, k = 0;
    do {
        if (k >= 40)
            break;
        if (k % 3 == 0)
            continue;
        if (k < id)
            sum += k;
    } while (++k < id);
    b[id] = sum;
    int r = 0;
    switch (id % 5) {
    case 0:
        r += 10;
    case 1:
        r += 20;
    case 2:
        r += 40;
        break;
    case 3:
        r = -1;
        break;
    default:
        r = 99;
    }
    c[id] = r;
    uint found = 0;
    for (uint x = 1; x < 70 && found == 0; ++x)
        for (uint y = x; y < 70; ++y)
            if (x * y >= id) {
                found = x * 100 + y;
                break;
            }
    d[id] = found;
}
