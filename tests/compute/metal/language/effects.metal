// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Two-dimensional effects, colour spaces, blend modes, dithering.
#include <metal_stdlib>
using namespace metal;

#define PI M_PI_F
#define TAU (2.0 * PI)
#define rot(a) float2x2(cos(a), -sin(a), sin(a), cos(a))
#define sat(x) clamp(x, 0.0, 1.0)

static float3 hsv2rgb(float3 c) {
    float4 K = float4(1.0, 2.0 / 3.0, 1.0 / 3.0, 3.0);
    float3 p = abs(fract(c.xxx + K.xyz) * 6.0 - K.www);
    return c.z * mix(K.xxx, clamp(p - K.xxx, 0.0, 1.0), c.y);
}
static float3 rgb2hsv(float3 c) {
    float4 K = float4(0.0, -1.0 / 3.0, 2.0 / 3.0, -1.0);
    float4 p = mix(float4(c.bg, K.wz), float4(c.gb, K.xy), step(c.b, c.g));
    float4 q = mix(float4(p.xyw, c.r), float4(c.r, p.yzx), step(p.x, c.r));
    float d = q.x - min(q.w, q.y);
    return float3(abs(q.z + (q.w - q.y) / (6.0 * d + 1e-10)), d / (q.x + 1e-10), q.x);
}
static float3 oklab(float3 c) {
    const float3x3 m1 = float3x3(0.412, 0.212, 0.088, 0.536, 0.681, 0.282, 0.051, 0.107, 0.63);
    float3 lms = m1 * c;
    lms = sign(lms) * pow(abs(lms), 1.0 / 3.0);
    return float3x3({.21, 1.98, .026}, {.79, -2.43, .783}, {-.004, .45, -.809}) * lms;
}
static float3 overlay(float3 a, float3 b) {
    return select(1 - 2 * (1 - a) * (1 - b), 2 * a * b, a < 0.5);
}
static half4 premultiplied(half4 c) { return half4(c.rgb * c.a, c.a); }
static float3 aces(float3 x) {
    const float a = 2.51, b = 0.03, c = 2.43, d = 0.59, e = 0.14;
    return saturate((x * (a * x + b)) / (x * (c * x + d) + e));
}
static float3 srgb(float3 c) {
    return select(1.055 * powr(c, 1 / 2.4) - 0.055, 12.92 * c, c < 0.0031308);
}
static float dither(uint2 p) {
    constexpr int pattern[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    return (pattern[p.y & 3][p.x & 3] + 0.5) / 16.0 - 0.5;
}

static float plasma(float2 uv, float t) {
    float v = sin(uv.x * 10. + t) + sin((uv.y * 10. + t) / 2.) + sin((uv.x + uv.y) * 5. + t);
    uv += .5 * float2(sin(t / 5.), cos(t / 3.));
    return v + sin(sqrt(100. * dot(uv, uv) + 1.) + t);
}
static int mandelbrot(float2 c) {
    float2 z = 0;
    int n = 0;
    while (dot(z, z) < 4.0 && n++ < 100)
        z = float2(z.x * z.x - z.y * z.y, 2 * z.x * z.y) + c;
    return n;
}
static float julia(float2 z, float2 c) {
    float d = 1e20;
    for (int i = 0; i < 64; ++i) {
        z = float2(z.x * z.x - z.y * z.y, 2. * z.x * z.y) + c;
        d = min(d, length_squared(z));
        if (any(abs(z) > 4))
            break;
    }
    return sqrt(d);
}
static float2 kaleidoscope(float2 p, int n) {
    float a = atan2(p.y, p.x), s = TAU / n;
    a = abs(a - s * floor(a / s + .5));
    return length(p) * float2(cos(a), sin(a));
}
static float3 tunnel(float2 p, float t) {
    float2 uv = float2(1 / length(p) + t, atan2(p.y, p.x) / PI);
    return float3(step(.5, fract(uv.x * 4)) * step(.5, fract(uv.y * 8))) * length(p);
}
static float stars(float2 p, float t) {
    float s = 0;
    for (float i = 0; i < 1; i += 1. / 4) {
        float depth = fract(i + t * .1);
        float2 gv = fract(p * mix(20, .5, depth) + i * 453.2) - .5;
        s += smoothstep(.1, 0, length(gv)) * depth * smoothstep(1, .9, depth);
    }
    return s;
}
static float metaballs(float2 p, float t) {
    float sum = 0;
    for (int i = 0; i < 6; i++) {
        float2 c = float2(sin(t + i), cos(t * 1.3 + i * i)) * .5;
        sum += 0.02 / dot(p - c, p - c);
    }
    return smoothstep(.9, 1.1, sum);
}
static float segment(float2 p, float2 a, float2 b) {
    p -= a;
    b -= a;
    return length(p - b * sat(dot(p, b) / dot(b, b)));
}
static bool glyph(uint2 p, int digit) {
    const uint digits[] = {0x75557, 0x22222, 0x74717, 0x74747, 0x11574,
                           0x71747, 0x77177, 0x44447, 0x75757, 0x47757};
    return all(p < uint2(4, 5)) && (digits[digit % 10] >> (p.y * 4 + p.x)) & 1;
}

kernel void effects(device half4* image [[buffer(0)]], constant float& time [[buffer(1)]],
                    constant float4* touches [[buffer(2)]], uint2 gid [[thread_position_in_grid]],
                    uint2 size [[threads_per_grid]]) {
    const float2 resolution = float2(size);
    float2 fragCoord = float2(gid) + .5;
    float2 uv = fragCoord / resolution.xy;
    float2 p = (-resolution.xy + 2. * fragCoord) / min(resolution.x, resolution.y);
    p *= rot(time * .1);
    float3 col = 0;
    col += hsv2rgb(float3(plasma(uv, time), 1, 1));
    col = mix(col, float3(mandelbrot(p * 1.5 - float2(.5, 0))) / 100, 0.5);
    col.rg += julia(p, .7885 * float2(cos(time), sin(time)));
    col -= tunnel(kaleidoscope(p, 6), time) * stars(p, time);
    col = overlay(col, rgb2hsv(col).zyx) + metaballs(p, time) * float3(.2, .4, 1.);
    col = mix(col, oklab(col), smoothstep(.01, .0, segment(p, {-.5, 0}, {.5, .25})));
    for (int i = 0; i < 3; ++i) {
        float4 touch = touches[i];
        if (touch.z <= 0)
            continue;
        float d = distance(p, touch.xy) - touch.w;
        col = d < 0 ? float3(1) - col : col * (1 - exp(-8 * abs(d)));
        col[i] += .1;
    }
    if (glyph(gid / 4, int(time)))
        col = 1;
    float vignette = pow(16 * uv.x * uv.y * (1 - uv.x) * (1 - uv.y), .25);
    col *= vignette * (0.9 + 0.1 * sin(fragCoord.y * PI));
    col = srgb(aces(max(col, 0)));
    col = floor(col * 8 + dither(gid)) / 8;
    image[gid.y * size.x + gid.x] = premultiplied(half4(half3(col), 1));
}
