// SPDX-License-Identifier: MIT
// Narrowing drops upper bits, widening keeps the sign, and small types are computed as int.
// grid 32 group 16
// buffer 0: in int[32] = (i - 16) * 9157
// buffer 1: out char[32] == b0[i]
// buffer 2: out ushort[32] == b0[i]
// buffer 3: out int[32] == i8(b0[i]) * 2 + u16(b0[i])
// buffer 4: out long[32] == u32(b0[i]) * 65536
// buffer 5: out uint[32] == u32(i16(b0[i])) >> 4
// buffer 6: out int[32] == u8(b0[i]) + u8(b0[i] >> 8) * 3
#include <metal_stdlib>
using namespace metal;

kernel void narrow(device const int* in [[buffer(0)]], device char* a [[buffer(1)]],
                   device ushort* b [[buffer(2)]], device int* c [[buffer(3)]],
                   device long* d [[buffer(4)]], device uint* e [[buffer(5)]],
                   device int* f [[buffer(6)]], uint id [[thread_position_in_grid]]) {
    const int v = in[id];
    a[id] = v;
    b[id] = ushort(v);
    c[id] = char(v) * 2 + ushort(v);
    d[id] = long(uint(v)) * 65536;
    e[id] = uint(short(v)) >> 4;
    uchar low = v, high = v >> 8;
    f[id] = low + high * 3;
}
