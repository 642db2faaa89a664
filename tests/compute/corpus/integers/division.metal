// SPDX-License-Identifier: MIT
// Division and remainder of all signs, by constants and variables, in several widths.
// grid 60 group 20
// buffer 0: in int2[60] = ((i - 30) * 7919 + i, (1, -1, 3, -7, 10, 12345)[i % 6])
// buffer 1: out int4[60] == (quotient(*b0[i]), rest(*b0[i]), quotient(b0[i][0], 10), rest(b0[i][0], -8))
// buffer 2: out uint2[60] == (u32(b0[i][0]) // 7, u32(b0[i][0]) % 1000)
// buffer 3: out long2[60] == (quotient(b0[i][0] * 10**9, b0[i][1]), rest(b0[i][0] * 10**9, 97))
// buffer 4: out short[60] == quotient(i16(b0[i][0]), i16(b0[i][1]))
// python
// def quotient(a, b): return abs(a) // abs(b) * (1 if (a < 0) == (b < 0) else -1)
// def rest(a, b): return a - b * quotient(a, b)
// end
#include <metal_stdlib>
using namespace metal;

kernel void divide(device const int2* in [[buffer(0)]], device int4* a [[buffer(1)]],
                   device uint2* b [[buffer(2)]], device long2* c [[buffer(3)]],
                   device short* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    const int x = in[id].x, y = in[id].y;
    a[id] = int4(x / y, x % y, x / 10, x % -8);
    b[id] = uint2(uint(x) / 7, uint(x) % 1000);
    c[id] = long2(x * 1000000000L / y, x * 1000000000L % 97);
    d[id] = short(x) / short(y);
}
