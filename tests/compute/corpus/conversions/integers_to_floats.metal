// SPDX-License-Identifier: MIT
// Integers that a float or half cannot hold are rounded to nearest, ties to even.
// grid 64 group 32
// buffer 0: in uint[64] = (1 << (i % 32)) + (i * 37 % 19) * (1 << max(0, i % 32 - 24))
// buffer 1: out float[64] == b0[i]
// buffer 2: out float[64] == i32(b0[i])
// buffer 3: out half[64] == b0[i] % 5000
// buffer 4: out float2[64] == (i, i * 3)
#include <metal_stdlib>
using namespace metal;

kernel void convert(device const uint* in [[buffer(0)]], device float* a [[buffer(1)]],
                    device float* b [[buffer(2)]], device half* c [[buffer(3)]],
                    device float2* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    a[id] = in[id];
    b[id] = int(in[id]);
    c[id] = half(in[id] % 5000);
    uint2 place = uint2(id, id * 3);
    d[id] = (float2)place;
}
