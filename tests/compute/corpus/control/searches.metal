// SPDX-License-Identifier: MIT
// Loops that end in several places, with what was loaded in them needed behind.
// grid 64 group 32
// buffer 0: in uint[96] = (i * 37 + 11) % 101
// buffer 1: out uint[64] == search(i)
// buffer 2: out uint[64] == next((values[k] for k in range(i, 96) if values[k] % 7 == 0), 1000)
// buffer 3: out uint[64] == pair(i)
// buffer 4: out int[64] == escape(i)
// python
// values = [(k * 37 + 11) % 101 for k in range(96)]
// def search(i):
//     last = 7
//     for k in range(32):
//         v = values[i + k]
//         if v == i: return v * 1000 + k
//         last = v
//         if v + k > 95: return last + k
//     return last + 500
// def pair(i):
//     for a in range(8):
//         for b in range(a, 12):
//             s = values[i + a] + values[i + b]
//             if s == 100: return a * 100 + b
//             if s % 13 == i % 13: break
//     return 5000
// def escape(i):
//     x, n = i, 0
//     while n < 20:
//         x2 = x * x
//         if x2 > 1 << 10: break
//         x = x2 - 3 * x + i
//         n += 1
//     return n * 1000 + abs(x) % 1000
// end
#include <metal_stdlib>
using namespace metal;

static uint pair(const device uint* values, uint id) {
    for (uint a = 0; a < 8; ++a)
        for (uint b = a; b < 12; ++b) {
            uint sum = values[id + a] + values[id + b];
            if (sum == 100)
                return a * 100 + b;
            if (sum % 13 == id % 13)
                break;
        }
    return 5000;
}

kernel void searches(const device uint* values [[buffer(0)]], device uint* a [[buffer(1)]],
                     device uint* b [[buffer(2)]], device uint* c [[buffer(3)]],
                     device int* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    uint result = 0, last = 7, k = 0;
    for (; k < 32; ++k) {
        uint value = values[id + k];
        if (value == id) {
            result = value * 1000 + k;
            break;
        }
        last = value;
        if (value + k > 95) {
            result = last + k;
            break;
        }
    }
    a[id] = k < 32 ? result : last + 500;

    uint found, at = id;
    while (true) {
        if (at == 96) {
            found = 1000;
            break;
        }
        uint value = values[at++];
        if (value % 7 == 0) {
            found = value;
            break;
        }
    }
    b[id] = found;
    c[id] = pair(values, id);

    int x = id, n = 0;
    for (; n < 20; ++n) {
        int square = x * x;
        if (square > 1 << 10)
            break;
        x = square - 3 * x + int(id);
    }
    d[id] = n * 1000 + abs(x) % 1000;
}
