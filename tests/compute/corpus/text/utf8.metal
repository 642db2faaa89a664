// SPDX-License-Identifier: MIT
// Code points to UTF-8 and back.
// grid 16 group 16
// buffer 0: in uint[16] = (65, 0x7f, 0x80, 0xe4, 0x7ff, 0x800, 0x20ac, 0xd7ff, 0xe000, 0xffff, 0x10000, 0x1f600, 0x10ffff, 0, 0x416, 0x4e2d)[i]
// buffer 1: out uchar4[16] == tuple((chr(b0[i]).encode() + bytes(4))[:4])
// buffer 2: out uint[16] == b0[i]
#include <metal_stdlib>
using namespace metal;

static uchar4 encode(uint c) {
    if (c < 0x80)
        return uchar4(c, 0, 0, 0);
    const uchar last = 0x80 | (c & 63), third = 0x80 | (c >> 6 & 63), second = 0x80 | (c >> 12 & 63);
    if (c < 0x800)
        return uchar4(0xc0 | c >> 6, last, 0, 0);
    if (c < 0x10000)
        return uchar4(0xe0 | c >> 12, third, last, 0);
    return uchar4(0xf0 | c >> 18, second, third, last);
}

static uint decode(uchar4 text) {
    const int length = text[0] < 0x80 ? 1 : clz(uchar(~text[0]));
    uint c = length == 1 ? text[0] : text[0] & (0x7f >> length);
    for (int k = 1; k < length; ++k)
        c = c << 6 | (text[k] & 63);
    return c;
}

kernel void convert(device const uint* in [[buffer(0)]], device uchar4* text [[buffer(1)]],
                    device uint* back [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    text[id] = encode(in[id]);
    back[id] = decode(text[id]);
}
