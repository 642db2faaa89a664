// SPDX-License-Identifier: MIT
// The other names of vectors and matrices, and the macros for functions.
// grid 8 group 8
// buffer 0: out float4[8] == (i, i + 1, 2, 3)
// buffer 1: out int2[8] == (i * 2, 7)

#include <metal_stdlib>
#include <simd/simd.h>
using namespace metal;

METAL_FUNC vector_float4 built(float x) {
    vector_float2 a = {x, x + 1};
    vector_float3 b(a, 2);
    return vector_float4(b, 3);
}

kernel void names(device vector_float4* out [[buffer(0)]], device vector_int2* ints [[buffer(1)]],
                  uint id [[thread_position_in_grid]]) {
    simd::float4 v = built(id);
    out[id] = v;
    vector_uint2 u(id * 2, 7);
    ints[id] = vector_int2(u);
}
