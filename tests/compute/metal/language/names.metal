// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Programs that reuse the library's names, qualify them, or name its parts.
#include <metal_stdlib>
#include <metal_math>
#include <metal_matrix>
#include <metal_geometric>
#include <simd/simd.h>
using namespace metal;

float max3(float3 v) { return max(v.x, max(v.y, v.z)); }
float2 rotate(float2 v, float angle) {
    float s = sin(angle), c = cos(angle);
    return float2(v.x * c - v.y * s, v.x * s + v.y * c);
}
float3 mix3(float3 a, float3 b, float3 c, float t) { return mix(mix(a, b, t), c, t); }
float distance(float3 p, float radius) { return length(p) - radius; }
float3 reflect(float3 v, float3 n, float amount) { return reflect(v, n) * amount; }
float clamp(float x) { return clamp(x, 0.0, 1.0); }
float step(float2 p) { return step(p.x, p.y); }
float noise(float x) { return fract(sin(x) * 43758.5453); }
constant float length = 1;

namespace shapes {
float length(float2 v) { return max(abs(v.x), abs(v.y)); }
float circle(float2 p, float r) { return length(p) - r; }
} // namespace shapes

using Color = metal::float4;
typedef simd_float3 Point;
typedef vector_float2 Texel;

constant int mode [[function_constant(0)]];
constant bool highQuality [[function_constant(1)]];
constant bool modeIsSet = is_function_constant_defined(mode);
constant int iterations = highQuality && modeIsSet ? 64 : 16;

kernel void names(device Color* out [[buffer(0)]], uint id [[thread_position_in_grid]],
                  uint count [[threads_per_grid]]) {
    float fract = float(id) / float(count);
    float sign = 1, floor = 2, dot = 3, cross = 4, level = 5, filter = 6, access = 7, coord = 8;
    int min = 0;
    float3 p = float3(fract, sign, floor);
    Point q = p.zyx;
    Texel t = q.xy;
    float sum = 0;
    for (int i = min; i < iterations; i++)
        sum += metal::fract(noise(float(i)) + fract);
    out[id] = Color(max3(p), rotate(t, dot), step(t)) + distance(p, 1) + distance(p, q) +
              Color(reflect(p, q, .5), clamp(cross)) + shapes::circle(t, level) + sum + filter +
              access + coord + float(mode) + ::length + Color(mix3(p, q, p, 0.5), 1);
}
