// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Matrix stacks: rotations, cameras, colour transforms.
#include <metal_stdlib>
using namespace metal;

constant float3x3 rgbToYuv = float3x3(float3(0.299, -0.147, 0.615), float3(0.587, -0.289, -0.515),
                                      float3(0.114, 0.436, -0.1));
constant half4x4 bayer = half4x4(0, 8, 2, 10, 12, 4, 14, 6, 3, 11, 1, 9, 15, 7, 13, 5) * (1.0h / 16.0h);

static float2x2 rotation(float a) {
    float c = cos(a), s = sin(a);
    return float2x2(c, -s, s, c);
}
static float3x3 rotationY(float a) {
    float c = cos(a), s = sin(a);
    return float3x3(c, 0, s, 0, 1, 0, -s, 0, c);
}
static float4x4 perspective(float fovy, float aspect, float near, float far) {
    float y = 1 / tan(fovy * 0.5);
    float x = y / aspect;
    float z = far / (near - far);
    return float4x4(float4(x, 0, 0, 0), float4(0, y, 0, 0), float4(0, 0, z, -1),
                    float4(0, 0, z * near, 0));
}
static float4x4 lookAt(float3 eye, float3 at, float3 up) {
    float3 z = normalize(eye - at);
    float3 x = normalize(cross(up, z));
    float3 y = cross(z, x);
    float4x4 m;
    m[0] = float4(x.x, y.x, z.x, 0);
    m[1] = float4(x.y, y.y, z.y, 0);
    m[2] = float4(x.z, y.z, z.z, 0);
    m[3] = float4(-dot(x, eye), -dot(y, eye), -dot(z, eye), 1);
    return m;
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
    p.xyz = rotationY(.5) * p.xyz;
    p = perspective(1, 16. / 9, .1, 100) * lookAt({0, 1, 4}, float3(0), {0, 1, 0}) * p;
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
