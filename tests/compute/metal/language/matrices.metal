// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Matrices: rotations, transforms from memory, colours.
#include <metal_stdlib>
using namespace metal;

constant float3x3 rgbToYuv = float3x3(float3(0.299, -0.147, 0.615), float3(0.587, -0.289, -0.515),
                                      float3(0.114, 0.436, -0.1));
constant half4x4 bayer = half4x4(0, 8, 2, 10, 12, 4, 14, 6, 3, 11, 1, 9, 15, 7, 13, 5) * (1.0h / 16.0h);

static float2x2 rotation(float a) {
    float c = cos(a), s = sin(a);
    return float2x2(c, -s, s, c);
}
static float3x3 inverse(float3x3 m) {
    float3 a = cross(m[1], m[2]);
    float3 b = cross(m[2], m[0]);
    float3 c = cross(m[0], m[1]);
    return transpose(float3x3(a, b, c)) * (1 / determinant(m));
}

struct Uniforms {
    float4x4 model;
    float3x3 normal;
    float2x4 pair;
};

kernel void transform(device float4* out [[buffer(0)]], constant Uniforms& uniforms [[buffer(1)]],
                      device packed_float3* normals [[buffer(2)]],
                      uint id [[thread_position_in_grid]]) {
    float4 p = out[id];
    p.xz *= rotation(0.3);
    p.xy = rotation(1.2) * p.xy;
    float4x4 m;
    m[0] = float4(p.xyz, 0);
    p = m * float4x4(float4(1, 0, 0, 0), float4(0, 1, 0, 0), float4(0), float4(-p.xy, 0, 1)) * p;
    p = uniforms.model * float4(p.xyz, 1);
    float3 n = normalize(uniforms.normal * normals[id]);
    float3x3 upper = float3x3(uniforms.model[0].xyz, uniforms.model[1].xyz, uniforms.model[2].xyz);
    n = inverse(upper) * n;
    float3 yuv = rgbToYuv * p.rgb;
    float2 projected = p * uniforms.pair;
    float4 lifted = uniforms.pair * projected;
    float4x4 product = uniforms.model * transpose(uniforms.model);
    product[3][0] += 1;
    product *= product;
    product = product * 2 - product / 3;
    half2x2 small = half2x2(rotation(.1));
    small[1] = half2(1, 0);
    int2 cell = int2(id % 4, (id / 4) % 4);
    out[id] = product * lifted + float4(yuv, float(bayer[cell.y][cell.x])) + float4(n, 1) +
              float(determinant(small));
}
