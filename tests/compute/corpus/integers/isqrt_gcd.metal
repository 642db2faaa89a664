// SPDX-License-Identifier: MIT
// Square roots and greatest common divisors by integer arithmetic alone.
// grid 64 group 16
// buffer 0: in uint2[64] = (u32(i * i * 1234567), u32((i + 3) * 3628800))
// buffer 1: out uint[64] == isqrt(b0[i][0])
// buffer 2: out uint[64] == gcd(*b0[i])
// buffer 3: out uint[64] == pow(7, b0[i][0], 1000003)
#include <metal_stdlib>
using namespace metal;

static uint squareRoot(uint x) {
    uint r = 0;
    for (uint bit = 1u << 30; bit != 0; bit >>= 2) {
        const bool fits = x >= r + bit;
        x -= fits ? r + bit : 0;
        r = (r >> 1) + (fits ? bit : 0);
    }
    return r;
}

static uint divisor(uint a, uint b) {
    while (b) {
        const uint rest = a % b;
        a = b;
        b = rest;
    }
    return a;
}

static uint powerModulo(ulong base, uint exponent, uint modulus) {
    ulong r = 1;
    for (; exponent; exponent >>= 1) {
        if (exponent & 1)
            r = r * base % modulus;
        base = base * base % modulus;
    }
    return uint(r);
}

kernel void number(device const uint2* in [[buffer(0)]], device uint* a [[buffer(1)]],
                   device uint* b [[buffer(2)]], device uint* c [[buffer(3)]],
                   uint id [[thread_position_in_grid]]) {
    a[id] = squareRoot(in[id].x);
    b[id] = divisor(in[id].x, in[id].y);
    c[id] = powerModulo(7, in[id].x, 1000003);
}
