// SPDX-License-Identifier: MIT
// Numbers of type bfloat: stored rounded, computed with, converted.
// grid 32 group 32
// buffer 0: in bfloat[32] = 1 + i / 64
// buffer 1: out bfloat[32] == bf16(b0[i] * 3)
// buffer 2: out float[32] == b0[i] + 0.5
// buffer 3: out bfloat[32] == bf16(1.0009765625 * i)
#include <metal_stdlib>
using namespace metal;

kernel void arithmetic(device const bfloat* in [[buffer(0)]], device bfloat* a [[buffer(1)]],
                       device float* b [[buffer(2)]], device bfloat* c [[buffer(3)]],
                       uint id [[thread_position_in_grid]]) {
    a[id] = bfloat(float(in[id]) * 3);
    b[id] = float(in[id]) + 0.5f;
    c[id] = static_cast<bfloat>(1.0009765625f * id);
}
