// SPDX-License-Identifier: MIT
// divide() by name, and absolute differences without overflow.
// grid 16 group 16
// buffer 0: in int2[16] = ((-1) ** i * 2 ** 30 + i, -(-1) ** i * 2 ** 30 - 3 * i)
// buffer 1: out uint[16] == abs(b0[i][0] - b0[i][1])
// buffer 2: out float[16] ~= (i + 1) / 7
// buffer 3: out uint2[16] == (abs(i16(b0[i][0]) - i16(b0[i][1])), abs(u16(b0[i][0]) - u16(b0[i][1])))
#include <metal_stdlib>
using namespace metal;

kernel void differences(device const int2* in [[buffer(0)]], device uint* a [[buffer(1)]],
                        device float* b [[buffer(2)]], device uint2* c [[buffer(3)]],
                        uint id [[thread_position_in_grid]]) {
    auto d = absdiff(in[id].x, in[id].y);
    static_assert(is_same<decltype(d), uint>::value, "the difference of two int is a uint");
    a[id] = d;
    b[id] = divide(float(id + 1), 7.0f);
    c[id] = uint2(absdiff(short(in[id].x), short(in[id].y)),
                  absdiff(ushort(in[id].x), ushort(in[id].y)));
}
