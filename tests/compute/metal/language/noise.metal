// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Hashes, value and gradient noise, cells, fractal sums, domain warping.
#include <metal_stdlib>
using namespace metal;

static float hash(float2 p) { return fract(sin(dot(p, float2(12.9898, 78.233))) * 43758.5453123); }
static float2 hash2(float2 p) {
    p = float2(dot(p, float2(127.1, 311.7)), dot(p, float2(269.5, 183.3)));
    return -1.0 + 2.0 * fract(sin(p) * 43758.5453123);
}
static uint pcg(uint v) {
    uint state = v * 747796405u + 2891336453u;
    uint word = ((state >> ((state >> 28u) + 4u)) ^ state) * 277803737u;
    return (word >> 22u) ^ word;
}
static uint3 pcg3d(uint3 v) {
    v = v * 1664525u + 1013904223u;
    v.x += v.y * v.z;
    v.y += v.z * v.x;
    v.z += v.x * v.y;
    v ^= v >> 16u;
    return v;
}
static float valueNoise(float2 p) {
    float2 i = floor(p), f = fract(p);
    float2 u = f * f * (3.0 - 2.0 * f);
    return mix(mix(hash(i), hash(i + float2(1, 0)), u.x),
               mix(hash(i + float2(0, 1)), hash(i + 1), u.x), u.y);
}
static float gradientNoise(float2 p) {
    float2 i = floor(p);
    float2 f = fract(p);
    float2 u = f * f * f * (f * (f * 6. - 15.) + 10.);
    float2 ga = hash2(i + float2(0, 0)), gb = hash2(i + float2(1, 0));
    return mix(mix(dot(ga, f), dot(gb, f - float2(1, 0)), u.x),
               mix(dot(hash2(i + float2(0, 1)), f - float2(0, 1)),
                   dot(hash2(i + float2(1, 1)), f - float2(1.0, 1.0)), u.x),
               u.y);
}
static float4 permute(float4 x) { return fmod(((x * 34.0) + 1.0) * x, 289.0); }
static float simplex(float3 v) {
    const float2 C = float2(1.0 / 6.0, 1.0 / 3.0);
    float3 i = floor(v + dot(v, C.yyy));
    float3 x0 = v - i + dot(i, C.xxx);
    float3 g = step(x0.yzx, x0.xyz);
    float3 l = 1.0 - g;
    float3 i1 = min(g.xyz, l.zxy);
    float3 i2 = max(g.xyz, l.zxy);
    float3 x1 = x0 - i1 + C.xxx;
    float3 x2 = x0 - i2 + C.yyy;
    float3 x3 = x0 - 0.5;
    float4 p = permute(permute(permute(i.z + float4(0.0, i1.z, i2.z, 1.0)) + i.y +
                               float4(0.0, i1.y, i2.y, 1.0)) +
                       i.x + float4(0.0, i1.x, i2.x, 1.0));
    float4 m = max(0.6 - float4(dot(x0, x0), dot(x1, x1), dot(x2, x2), dot(x3, x3)), 0.0);
    m = m * m;
    return 42.0 * dot(m * m, fract(p * (1.0 / 41.0)) * 2 - 1);
}
static float2 cells(float2 p) {
    int2 n = int2(floor(p));
    float2 f = fract(p), result = 8;
    for (int j = -1; j <= 1; j++)
        for (int i = -1; i <= 1; i++) {
            float2 g = float2(i, j);
            float2 o = hash2(float2(n) + g) * .5 + .5;
            float d = length_squared(g + o - f);
            result = d < result.x ? float2(d, result.x) : float2(result.x, min(d, result.y));
        }
    return sqrt(result);
}
static float fbm(float2 p) {
    const float2x2 m = float2x2(1.6, 1.2, -1.2, 1.6);
    float f = 0, a = .5;
    for (int i = 0; i < 5; ++i, a *= .5, p = m * p)
        f += a * gradientNoise(p);
    return f;
}

kernel void clouds(device float4* out [[buffer(0)]], constant float& time [[buffer(1)]],
                   uint2 gid [[thread_position_in_grid]], uint2 size [[threads_per_grid]]) {
    float2 p = float2(gid) / float2(size) * 8;
    float2 q = float2(fbm(p), fbm(p + float2(5.2, 1.3)));
    float2 r = float2(fbm(p + 4 * q + float2(1.7, 9.2) + .15 * time), fbm(p + 4 * q + 2.8));
    float f = fbm(p + 4 * r);
    float2 c = cells(p);
    uint3 seed = pcg3d(uint3(gid, uint(time * 60)));
    float grain = float(pcg(seed.x) & 0xFFFFFF) / float(0x1000000);
    float3 color = mix(float3(0.1, 0.6, 0.66), float3(.66, .66, .5), clamp(f * f * 4.0, 0.0, 1.0));
    color = mix(color, float3(0, 0, 0.16), clamp(length(q), 0.0, 1.0));
    color += grain * .05 + valueNoise(p) * .1 + simplex(float3(p, time)) * .1 + (c.y - c.x);
    color.rg *= 0.9 + 0.1 * sin(p.yx);
    out[gid.y * size.x + gid.x] = float4((f * f * f + .6 * f * f + .5 * f) * color, 1.);
}
