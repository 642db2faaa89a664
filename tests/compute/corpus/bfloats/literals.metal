// SPDX-License-Identifier: MIT
// Numbers that end in bf, beside those in hexadecimal that only look so.
// grid 4 group 4
// buffer 0: out bfloat[4] == bf16(bf16(1.1) * (i + 1)) + 2
// buffer 1: out uint[4] == 0xbf + 0x1BF * i
#include <metal_stdlib>
using namespace metal;

constant bfloat scales[] = {1.0bf, 2bf, 3.0BF, 4e0bf};

kernel void literals(device bfloat* a [[buffer(0)]], device uint* b [[buffer(1)]],
                     uint id [[thread_position_in_grid]]) {
    const bfloat product = 1.1bf * scales[id];
    a[id] = product + 2.bf;
    b[id] = 0xbf + 0x1BF * id;
}
