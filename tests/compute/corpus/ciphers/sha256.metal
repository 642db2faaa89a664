// SPDX-License-Identifier: MIT
// SHA-256 of one block for each thread.
// grid 8 group 8
// buffer 0: out uint[64] == int.from_bytes(hashlib.sha256(bytes([i // 8, 200, i // 8 * 3])).digest()[i % 8 * 4:i % 8 * 4 + 4], 'big')
// buffer 1: in uint[64] = floor(fractional(PRIMES[i], 3))
// python
// import hashlib
// from fractions import Fraction
// PRIMES = [n for n in range(2, 312) if all(n % d for d in range(2, n))]
// def fractional(p, root):      # the first 32 bits after the point of a cube root, by integers
//     n = p << 96
//     low, high = 0, 1 << 44
//     while high - low > 1:
//         m = (low + high) // 2
//         low, high = (m, high) if m ** 3 <= n else (low, m)
//     return low & 0xffffffff
// end
#include <metal_stdlib>
using namespace metal;

kernel void sha256(device uint* out [[buffer(0)]], constant uint* rounds [[buffer(1)]],
                   uint id [[thread_position_in_grid]]) {
    uint w[64] = {id << 24 | 200u << 16 | (id * 3) << 8 | 0x80};
    w[15] = 24;
    for (uint k = 16; k < 64; ++k) {
        const uint a = w[k - 15], b = w[k - 2];
        const uint s0 = rotate(a, 25u) ^ rotate(a, 14u) ^ (a >> 3);
        const uint s1 = rotate(b, 15u) ^ rotate(b, 13u) ^ (b >> 10);
        w[k] = w[k - 16] + s0 + w[k - 7] + s1;
    }
    const uint start[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                           0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    uint h[8];
    for (uint k = 0; k < 8; ++k)
        h[k] = start[k];
    for (uint k = 0; k < 64; ++k) {
        const uint s1 = rotate(h[4], 26u) ^ rotate(h[4], 21u) ^ rotate(h[4], 7u);
        const uint t1 = h[7] + s1 + ((h[4] & h[5]) ^ (~h[4] & h[6])) + rounds[k] + w[k];
        const uint s0 = rotate(h[0], 30u) ^ rotate(h[0], 19u) ^ rotate(h[0], 10u);
        const uint t2 = s0 + ((h[0] & h[1]) ^ (h[0] & h[2]) ^ (h[1] & h[2]));
        for (uint m = 7; m > 0; --m)
            h[m] = h[m - 1];
        h[4] += t1;
        h[0] = t1 + t2;
    }
    for (uint k = 0; k < 8; ++k)
        out[8 * id + k] = start[k] + h[k];
}
