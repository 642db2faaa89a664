// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Signed distances, soft shadows, ambient occlusion, palettes.
#include <metal_stdlib>
using namespace metal;

#define MAX_STEPS 96
#define EPSILON 0.001

struct Hit {
    float distance;
    int material;
};

static Hit nearer(Hit a, Hit b) { return a.distance < b.distance ? a : b; }
static float sdSphere(float3 p, float r) { return length(p) - r; }
static float sdBox(float3 p, float3 b) {
    float3 q = abs(p) - b;
    return length(max(q, 0.0)) + min(max(q.x, max(q.y, q.z)), 0.0);
}
static float sdTorus(float3 p, float2 t) {
    float2 q = float2(length(p.xz) - t.x, p.y);
    return length(q) - t.y;
}
static float sdCapsule(float3 p, float3 a, float3 b, float r) {
    float3 pa = p - a, ba = b - a;
    float h = clamp(dot(pa, ba) / dot(ba, ba), 0.0, 1.0);
    return length(pa - ba * h) - r;
}
static float smin(float a, float b, float k) {
    float h = saturate(0.5 + 0.5 * (b - a) / k);
    return mix(b, a, h) - k * h * (1 - h);
}
static float3 repeated(float3 p, float3 c) { return fmod(abs(p) + c / 2, c) - c / 2; }
static void fold(thread float2& p, float n) {
    float a = atan2(p.y, p.x) + M_PI_F / n;
    a = fmod(a + 100 * M_PI_F, 2 * M_PI_F / n) - M_PI_F / n;
    p = length(p) * float2(cos(a), sin(a));
}

static Hit scene(float3 p, float time) {
    float2 ground = p.xz;
    fold(ground, 6);
    Hit h = {p.y + 1, 0};
    h = nearer(h, {sdSphere(p - float3(0, sin(time), 0), 1), 1});
    h = nearer(h, Hit{smin(sdBox(repeated(p, 4), {0.5, 0.5, 0.5}), sdTorus(p, {1, .25}), 0.3), 2});
    h = nearer(h, Hit{sdCapsule(p, 0, {0, 1, 0}, .1), 3});
    h.distance = max(h.distance, -sdSphere(float3(ground, p.y), .2));
    return h;
}
static float3 normalAt(float3 p, float t) {
    const float2 e = float2(EPSILON, 0);
    return normalize(float3(scene(p + e.xyy, t).distance - scene(p - e.xyy, t).distance,
                            scene(p + e.yxy, t).distance - scene(p - e.yxy, t).distance,
                            scene(p + e.yyx, t).distance - scene(p - e.yyx, t).distance));
}
static float shadow(float3 o, float3 d, float k, float time) {
    float light = 1;
    for (float t = 0.02; t < 8;) {
        float h = scene(o + d * t, time).distance;
        if (h < EPSILON)
            return 0;
        light = min(light, k * h / t);
        t += h;
    }
    return light;
}
static float3 palette(float t, float3 a, float3 b, float3 c, float3 d) {
    return a + b * cos(6.28318 * (c * t + d));
}

kernel void march(device half4* image [[buffer(0)]], constant float& time [[buffer(1)]],
                  uint2 gid [[thread_position_in_grid]], uint2 size [[threads_per_grid]]) {
    float2 uv = (2 * float2(gid) - float2(size)) / size.y;
    float3 ro = float3(3 * cos(time), 1.5, 3 * sin(time));
    float3 forward = normalize(-ro), right = normalize(cross({0, 1, 0}, forward));
    float3 rd = normalize(uv.x * right + uv.y * cross(forward, right) + 1.5 * forward);
    float t = 0;
    Hit hit{0, -1};
    int i = 0;
    for (; i < MAX_STEPS && t < 20; i++) {
        hit = scene(ro + rd * t, time);
        if (abs(hit.distance) < EPSILON * t)
            break;
        t += hit.distance;
    }
    float3 color = mix(float3(.5, .7, 1), float3(1), uv.y);
    if (t < 20) {
        float3 p = ro + rd * t, n = normalAt(p, time), l = normalize(float3(1, 2, -1));
        float diffuse = max(dot(n, l), 0.) * shadow(p, l, 16, time);
        float specular = pow(max(dot(reflect(-l, n), -rd), 0.0), 32);
        float fresnel = pow(1 - saturate(dot(n, -rd)), 5);
        float3 base;
        switch (hit.material) {
        case 0:
            base = fmod(floor(p.x) + floor(p.z), 2) == 0 ? 0.2 : 0.8;
            break;
        case 1:
            base = {1, .3, .2};
            break;
        default:
            base = palette(t * .1, 0.5, 0.5, 1, {0, .33, .67});
        }
        color = base * (diffuse + .1) + specular + fresnel * .3;
        color = mix(color, float3(.5, .7, 1), 1 - exp(-.002 * t * t * t));
    }
    color = pow(color, 1 / 2.2);
    color = color * (2.51 * color + 0.03) / (color * (2.43 * color + 0.59) + 0.14);
    image[gid.y * size.x + gid.x] = half4(half3(saturate(color)), 1);
}
