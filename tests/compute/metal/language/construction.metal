// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Declarators, conversions, literals, brace lists.
#include <metal_stdlib>
using namespace metal;

constant half3 light(0.1h, 0.2h, 0.3h);
constant int N = 128;
constant float weights[5] = {0.204164, 0.304005, 0.093913, 1e-3f, .5};
constant float3 palette[] = {{1, 0, 0}, {0, 1, 0}, float3(0, 0, 1), {0.5, 0.5, 0.5}};
constant float golden = (1.0 + sqrt(5.0)) / 2.0;
constant float2 resolution = {960, 540}, halfOfIt = resolution * 0.5;
static constexpr constant float scale = 2 * M_PI_F;
constexpr constant uint mask = 0xFFu << 3;

struct Ray {
    float3 origin, direction;
    Ray(float3 o, float3 d) : origin(o), direction(normalize(d)) {}
    float3 at(float t) const thread { return origin + t * direction; }
};
struct Material { half4 color = half4(1.0h); float roughness{0.5}; bool emissive = false; };
enum class Shape : uchar { circle, square };
enum { first, second };

kernel void construct(device float4* out [[buffer(0)]], constant uint& count [[buffer(1)]],
                      uint2 gid [[thread_position_in_grid]]) {
    float w = 3, h = 4;
    float2 b(w, h), pixel = float2(gid);
    pixel += (float2)gid;
    pixel = static_cast<float2>(gid) / resolution;
    float3 rgb = float3(light) + 0.5;
    float4 a = float4(rgb, 1);
    a = float4(1, b, 1);
    a = float4(b.x, rgb);
    a = {b, 0, 1};
    half4 packed = half4(a);
    int3 i = int3(rgb * 255.0);
    i.xy = int2(pixel);
    bool4 flags = bool4(true, false, gid.x > 3, gid.y == 0);
    float array[N] = {};
    metal::array<float, 4> values = {1, 2, 3, 4};
    Ray ray(float3(0), {0, 0, 1});
    Material material, other = {half4(0.5h, 1h, 0h, 1.0h), 0.25, true};
    Shape shape = Shape::square;
    constexpr int pattern[2][2] = {{0, 2}, {3, 1}};
    half3x3 n = half3x3({1, 0, 0}, {0, 1, 0}, {0, 0, 1});
    float3x3 fromColumns(rgb, rgb.yzx, rgb.zxy);
    int x = second, y{7};
    float big = 1e10, hex = 0x1p-3f;
    ulong wide = 0xFFFFFFFFFFul;
    half hh = 2, hf = big > 1 ? 0.5h : 1h;
    float2 st = mix({0.1, 0.2}, {1, 2}, pixel);
    out[gid.x] = a + float4(packed) + float4(float2(uint2(int2(-1, 2))), 0, 0) +
                 float4(ray.at(2), array[5]) + float4(i.x, 1, 2, 3) + float4(flags) + values[2] +
                 other.roughness + float(material.emissive) + float(shape == Shape::circle) +
                 float4(float3(n[0]), 1) + float4(fromColumns * rgb, x + y) + hex + float(wide) +
                 char('a' + 1) + hh * hf + float4(st, weights[2], golden) + halfOfIt.x +
                 float4(palette[gid.x % 4], scale) * float4x4(1.0) + float(mask) + float(count) +
                 smoothstep({0, 0}, {1, 1}, pixel).x + pattern[gid.y & 1][gid.x & 1];
}
