// SPDX-License-Identifier: MIT
// What kind of number it is that was computed, asked as people do who know how floats are stored.
// grid 16 group 16
// buffer 0: in uint[16] = (0, 0x800000, 0x800001, 0x3f800000, 0x3f800001, 0x7f7fffff, 0x7f800000, 0x7fc00000)[i % 8] | (i // 8 << 31)
// buffer 1: out uint[16] == kinds(b0[i], 0x7f800000, 1 << 31)
// buffer 2: in ushort[16] = (0, 0x400, 0x401, 0x3c00, 0x3c01, 0x7bff, 0x7c00, 0x7e00)[i % 8] | (i // 8 << 15)
// buffer 3: out uint[16] == kinds(b2[i], 0x7c00, 1 << 15)
// buffer 4: in float[8] = 1
// python
// def kinds(bits, top, sign):
//     rest = bits & (sign - 1)
//     answers = (bits == 0, bits == sign, bits == top, bits == top | sign, rest == 0, rest == top,
//                rest & top == top, rest > top or rest == 0)
//     return sum(x << n for n, x in enumerate(answers))
// end
#include <metal_stdlib>
using namespace metal;

template <class Bits, class Number>
uint kinds(Number x, Bits top, const device float* one) {
    const Bits sign = Bits(1) << (8 * sizeof(Bits) - 1);
    const auto bits = [&](uint n) { return as_type<Bits>(Number(x * Number(one[n]))); };
    const auto rest = [&](uint n) { return Bits(bits(n) & Bits(sign - 1)); };
    const Number last = x * Number(one[7]);
    const bool answers[] = {bits(0) == Bits(0), bits(1) == sign, bits(2) == top,          bits(3) == Bits(top | sign),
                            rest(4) == Bits(0), rest(5) == top,  (rest(6) & top) == top, isnan(last) || last == 0};
    uint result = 0;
    for (uint n = 0; n < 8; ++n)
        result |= uint(answers[n]) << n;
    return result;
}

kernel void classes(device const float* floats [[buffer(0)]], device uint* ofFloats [[buffer(1)]],
                    device const half* halfs [[buffer(2)]], device uint* ofHalfs [[buffer(3)]],
                    device const float* one [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    ofFloats[id] = kinds(floats[id], uint(0x7f800000), one);
    ofHalfs[id] = kinds(halfs[id], ushort(0x7c00), one);
}
