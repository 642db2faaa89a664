// SPDX-License-Identifier: MIT
// Generators of random numbers, several steps each: linear congruential with permuted output,
// xorshift of 64 and 32 bits.
// grid 40 group 8
// buffer 0: out uint4[40] == all [tuple(pcg(s, 4)) for s in range(40)]
// buffer 1: out ulong[40] == xorshift64(i + 1, 5)
// buffer 2: out float[40] == f32((xorshift32(i + 99) >> 8) * 2.0 ** -24)
// python
// def pcg(state, count):
//     out = []
//     for _ in range(count):
//         old = state
//         state = u32(state * 747796405 + 2891336453)
//         word = u32((old >> (old >> 28) + 4 ^ old) * 277803737)
//         out.append(word >> 22 ^ word)
//     return out
// def xorshift64(x, count):
//     for _ in range(count):
//         x ^= u64(x << 13); x ^= x >> 7; x ^= u64(x << 17)
//     return x
// def xorshift32(x):
//     x ^= u32(x << 13); x ^= x >> 17; x ^= u32(x << 5)
//     return x
// end
#include <metal_stdlib>
using namespace metal;

struct Pcg {
    uint state;
    uint next() thread {
        const uint old = state;
        state = state * 747796405u + 2891336453u;
        const uint word = ((old >> ((old >> 28u) + 4u)) ^ old) * 277803737u;
        return (word >> 22u) ^ word;
    }
};

static ulong xorshift(thread ulong& x) {
    x ^= x << 13;
    x ^= x >> 7;
    x ^= x << 17;
    return x;
}

kernel void generators(device uint4* a [[buffer(0)]], device ulong* b [[buffer(1)]],
                       device float* c [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    Pcg pcg{id};
    uint4 v;
    v.x = pcg.next();
    v.y = pcg.next();
    v.z = pcg.next();
    v.w = pcg.next();
    a[id] = v;
    ulong x = id + 1;
    for (int k = 0; k < 5; ++k)
        xorshift(x);
    b[id] = x;
    uint y = id + 99;
    y ^= y << 13;
    y ^= y >> 17;
    y ^= y << 5;
    c[id] = float(y >> 8) * 0x1p-24f;
}
