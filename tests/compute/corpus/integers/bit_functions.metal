// SPDX-License-Identifier: MIT
// Counting, reversing, extracting and inserting bits.
// grid 64 group 32
// buffer 0: in uint[64] = (i * 2654435761 >> (i % 32)) & 0xffffffff
// buffer 1: out uint4[64] == (b0[i].bit_count(), 32 - b0[i].bit_length(), trailing(b0[i]), int(f'{b0[i]:032b}'[::-1], 2))
// buffer 2: out uint2[64] == (b0[i] >> 5 & 0x7ff, b0[i] & ~(0xff << 12) | (i & 0xff) << 12)
// buffer 3: out int[64] == i8(b0[i] >> 9)
// buffer 4: out ushort2[64] == (u16(b0[i]).bit_count(), int(f'{u16(b0[i]):016b}'[::-1], 2))
// python
// def trailing(x): return 32 if x == 0 else (x & -x).bit_length() - 1
// end
#include <metal_stdlib>
using namespace metal;

kernel void bits(device const uint* in [[buffer(0)]], device uint4* a [[buffer(1)]],
                 device uint2* b [[buffer(2)]], device int* c [[buffer(3)]],
                 device ushort2* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    const uint x = in[id];
    a[id] = uint4(popcount(x), clz(x), ctz(x), reverse_bits(x));
    b[id] = uint2(extract_bits(x, 5, 11), insert_bits(x, id, 12, 8));
    c[id] = extract_bits(int(x), 9, 8);
    ushort s = x;
    d[id] = ushort2(popcount(s), reverse_bits(s));
}
