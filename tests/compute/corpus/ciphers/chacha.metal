// SPDX-License-Identifier: MIT
// Blocks of the stream cipher ChaCha20.
// grid 4 group 4
// buffer 0: out uint[64] == block(i // 16 + 1)[i % 16]
// python
// def block(counter):
//     s = [0x61707865, 0x3320646e, 0x79622d32, 0x6b206574] + [k * 0x01020304 & 0xffffffff for k in range(8)] + [counter, 9, 0x4a, 0]
//     w = s[:]
//     def rot(x, n): return u32(x << n) | x >> 32 - n
//     def quarter(a, b, c, d):
//         for n, (x, y, z) in zip((16, 12, 8, 7), ((a, b, d), (c, d, b)) * 2):
//             w[x] = u32(w[x] + w[y])
//             w[z] = rot(w[z] ^ w[x], n)
//     for _ in range(10):
//         for k in range(4): quarter(k, 4 + k, 8 + k, 12 + k)
//         for k in range(4): quarter(k, 4 + (k + 1) % 4, 8 + (k + 2) % 4, 12 + (k + 3) % 4)
//     return [u32(a + b) for a, b in zip(w, s)]
// end
#include <metal_stdlib>
using namespace metal;

static void quarter(thread uint4& a, thread uint4& b, thread uint4& c, thread uint4& d) {
    a += b;
    d = rotate(d ^ a, uint4(16));
    c += d;
    b = rotate(b ^ c, uint4(12));
    a += b;
    d = rotate(d ^ a, uint4(8));
    c += d;
    b = rotate(b ^ c, uint4(7));
}

kernel void block(device uint* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    const uint4 state[4] = {{0x61707865, 0x3320646e, 0x79622d32, 0x6b206574},
                            uint4(0, 1, 2, 3) * 0x01020304u,
                            uint4(4, 5, 6, 7) * 0x01020304u,
                            {id + 1, 9, 0x4a, 0}};
    uint4 w[4] = {state[0], state[1], state[2], state[3]};
    for (int round = 0; round < 10; ++round) {
        quarter(w[0], w[1], w[2], w[3]);
        w[1] = w[1].yzwx;
        w[2] = w[2].zwxy;
        w[3] = w[3].wxyz;
        quarter(w[0], w[1], w[2], w[3]);
        w[1] = w[1].wxyz;
        w[2] = w[2].zwxy;
        w[3] = w[3].yzwx;
    }
    for (uint k = 0; k < 4; ++k) {
        const uint4 r = w[k] + state[k];
        for (uint lane = 0; lane < 4; ++lane)
            out[16 * id + 4 * k + lane] = r[lane];
    }
}
