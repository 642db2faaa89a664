// SPDX-License-Identifier: MIT
// The inverse of a 3 x 3 matrix by cofactors, times the matrix itself.
// grid 16 group 16
// buffer 0: out float3[48] ~= tuple(1 if k == i % 3 else 0 for k in range(3)) within 1e-5
// buffer 1: out float[16] ~= (i + 2) * ((i + 3) * 2 - 1) - 1 * (2 * 1 - 0) within 1e-4
#include <metal_stdlib>
using namespace metal;

static float3x3 inverse(float3x3 m) {
    float3 r0 = cross(m[1], m[2]);
    float3 r1 = cross(m[2], m[0]);
    float3 r2 = cross(m[0], m[1]);
    float d = dot(m[0], r0);
    return transpose(float3x3(r0 / d, r1 / d, r2 / d));
}

kernel void invert(device float3* out [[buffer(0)]], device float* determinants [[buffer(1)]],
                   uint id [[thread_position_in_grid]]) {
    float3x3 m(id + 2.0, 1, 0, 1, id + 3.0, 1, 0, 1, 2);
    float3x3 i = inverse(m) * m;
    for (uint k = 0; k < 3; ++k)
        out[3 * id + k] = i[k];
    determinants[id] = determinant(m);
}
