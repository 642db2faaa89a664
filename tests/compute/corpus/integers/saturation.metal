// SPDX-License-Identifier: MIT
// Saturating sums, averages, high products and rotation.
// grid 48 group 16
// buffer 0: in int2[48] = (i32(i * 0x12345678 + 7), i32(i * i * 0x3456789))
// buffer 1: out int4[48] == (clamped(b0[i][0] + b0[i][1]), clamped(b0[i][0] - b0[i][1]), (b0[i][0] + b0[i][1]) >> 1, (b0[i][0] + b0[i][1] + 1) >> 1)
// buffer 2: out int2[48] == (b0[i][0] * b0[i][1] >> 32, (b0[i][0] * b0[i][1] >> 32) + 5)
// buffer 3: out uint2[48] == (min(u32(b0[i][0]) + u32(b0[i][1]), 0xffffffff), u32(b0[i][0]) * u32(b0[i][1]) >> 32)
// buffer 4: out uint[48] == (u32(b0[i][0]) << i % 32 | u32(b0[i][0]) >> (32 - i % 32)) & 0xffffffff
// buffer 5: out uchar[48] == max(u8(b0[i][0]) - u8(b0[i][1]), 0)
// python
// def clamped(x): return min(max(x, -2**31), 2**31 - 1)
// end
#include <metal_stdlib>
using namespace metal;

kernel void saturate(device const int2* in [[buffer(0)]], device int4* a [[buffer(1)]],
                     device int2* b [[buffer(2)]], device uint2* c [[buffer(3)]],
                     device uint* d [[buffer(4)]], device uchar* e [[buffer(5)]],
                     uint id [[thread_position_in_grid]]) {
    const int x = in[id].x, y = in[id].y;
    a[id] = int4(addsat(x, y), subsat(x, y), hadd(x, y), rhadd(x, y));
    b[id] = int2(mulhi(x, y), madhi(x, y, 5));
    c[id] = uint2(addsat(uint(x), uint(y)), mulhi(uint(x), uint(y)));
    d[id] = rotate(uint(x), id % 32);
    e[id] = subsat(uchar(x), uchar(y));
}
