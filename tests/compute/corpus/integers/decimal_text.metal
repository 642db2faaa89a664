// SPDX-License-Identifier: MIT
// Numbers as decimal text in bytes and back, with signs.
// grid 24 group 8
// buffer 0: in int[24] = i ** 6 if i % 2 == 0 else -(i ** 6)
// buffer 1: out uchar[288] == (str(b0[i // 12]).encode() + bytes(12))[i % 12]
// buffer 2: out int[24] == b0[i]
#include <metal_stdlib>
using namespace metal;

kernel void text(device const int* in [[buffer(0)]], device uchar* text [[buffer(1)]],
                 device int* parsed [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    int value = in[id];
    uint rest = value < 0 ? 0u - uint(value) : uint(value);
    char digits[10];
    int count = 0;
    do {
        digits[count++] = '0' + rest % 10;
        rest /= 10;
    } while (rest);
    device uchar* out = text + 12 * id;
    if (value < 0)
        *out++ = '-';
    while (count > 0)
        *out++ = digits[--count];
    int result = 0;
    bool negative = false;
    for (device const uchar* p = text + 12 * id; *p; ++p)
        if (*p == '-')
            negative = true;
        else
            result = result * 10 + (*p - '0');
    parsed[id] = negative ? -result : result;
}
