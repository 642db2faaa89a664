// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Vectors and matrices where the other texts do not use them: swizzles of memory, mixtures of half,
// float and integers, rotations, transforms and colours.
#include <metal_stdlib>
using namespace metal;

constant float3x3 rgbToYuv = float3x3(float3(0.299, -0.147, 0.615), float3(0.587, -0.289, -0.515),
                                      float3(0.114, 0.436, -0.1));
constant half4x4 bayer = half4x4(0, 8, 2, 10, 12, 4, 14, 6, 3, 11, 1, 9, 15, 7, 13, 5) * (1.0h / 16.0h);
struct Uniforms { float4x4 model; float3x3 normal; float2x4 pair; };

template <typename T> T twice(T v) { return v + v; }
static void swap(thread float& a, thread float& b) { float t = a; a = b; b = t; }
static float2 mirrored(float2 p) { return abs(p.yx); }
static float2x2 rotation(float a) { float c = cos(a), s = sin(a); return float2x2(c, -s, s, c); }
static float3x3 inverse(float3x3 m) {
    float3 a = cross(m[1], m[2]), b = cross(m[2], m[0]), c = cross(m[0], m[1]);
    return transpose(float3x3(a, b, c)) * (1 / determinant(m));
}

kernel void swizzle(device float4* out [[buffer(0)]], device packed_float3* points [[buffer(1)]],
                    uint id [[thread_position_in_grid]]) {
    float4 v = out[id];
    v.xz += 0.5; v.rgb *= v.a; v.yzw = cross(v.xyz, v.zxy); v.r = v.g = v.b; v.zw -= v.xy * 2.;
    out[id].xyz = v.zyx; out[id].w += 1;
    float3 p = points[id];
    points[id].x = p.y; points[id].zy = p.xy;
    float2 q = id == 0 ? v.xx : float2(0);
    auto r = v.xyz;
    r.x = dot(v.xy, v.zw) + length(v.rgb) + v.xyz.z;
    q += twice(v.zx) + mirrored(v.wz) + mix(v.zw, 1, .5) + max(v.xy, 0);
    swap(v.x, v.y);
    float m = max(max(v.x, v.y), v.z) + v[2] + v[id & 3];
    out[id + 1] = float4(r, m) + q.xyxy + v.xxxx;
}

kernel void mixtures(device float* out [[buffer(0)]], constant half& h [[buffer(1)]],
                     constant int& i [[buffer(2)]], constant uint& u [[buffer(3)]],
                     uint id [[thread_position_in_grid]]) {
    float x = out[id];
    x += max(h, 0.0) + pow(x, 1 / 2.2) + clamp(x, 0, 1) + min(i, 1) + max(u, 3) + clamp(i, 0, 255);
    x += sqrt(2) + fmod(x, 2) + step(0, x) + smoothstep(0, 1, x) + mix(0., x, .5) + saturate(x * 2);
    x += h * x + 2 * h + h / 3 + (h > 0.5 ? 1 : 0) + (i > 0 && x < 1) + float(id % 4u) + abs(i);
    half3 color = half3(x, h, 0.5);
    float3 v = float3(color);
    v = pow(v, 1 / 2.2) + powr(v, 1 / 2.4) + fmod(v, 2) + smoothstep(.1, 0, v) + min(v, 1.);
    v = select(v.x > 1 ? 0.2 : 0.8, v * 2, v == 0);
    uint bits = as_type<uint>(x);
    uint2 pair = (uint2(bits, id) * 1664525u + 1013904223u) ^ (uint2(id).yx >> 16);
    x += float(pair.x) / float(UINT_MAX) + float(pair.y & 0xffff) * (1.0 / 65535.0);
    short mid = short(char(as_type<uchar4>(bits).x) - 1) * 3;
    out[id + 1] = FLT_EPSILON + float(INT_MAX) + numeric_limits<int>::min() + M_E_F +
                  float(M_PI_H) + INFINITY + NAN + float(HALF_MAX) + float(USHRT_MAX);
    out[id] = x + dot(color, half3(0.299, 0.587, 0.114)) + v.x + mid;
}

kernel void transform(device float4* out [[buffer(0)]], constant Uniforms& uniforms [[buffer(1)]],
                      device packed_float3* normals [[buffer(2)]],
                      uint id [[thread_position_in_grid]]) {
    float4 p = out[id];
    p.xz *= rotation(0.3);
    float4x4 m;
    m[0] = float4(p.xyz, 0);
    p = m * float4x4(float4(1, 0, 0, 0), float4(0, 1, 0, 0), float4(0), float4(-p.xy, 0, 1)) * p;
    p = uniforms.model * float4(p.xyz, 1);
    float3 n = normalize(uniforms.normal * normals[id]);
    n = inverse(float3x3(uniforms.model[0].xyz, uniforms.model[1].xyz, uniforms.model[2].xyz)) * n;
    float4 lifted = uniforms.pair * (p * uniforms.pair);
    float4x4 product = uniforms.model * transpose(uniforms.model);
    product[3][0] += 1;
    out[id] = product * lifted + float4(rgbToYuv * p.rgb, float(bayer[id / 4 % 4][id % 4])) +
              float4(n, 1);
}
