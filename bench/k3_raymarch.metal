// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A ray marcher: loops of different length side by side.
// Buffers: 0 receives the result, 1 holds the frame.
#include <metal_stdlib>
using namespace metal;

struct Frame {
    float seconds;
    uint number;
};

float blend(float a, float b, float k) {
    float h = max(k - abs(a - b), 0.0) / k;
    return min(a, b) - h * h * k * 0.25;
}

float scene(float3 p, float t) {
    float ball = length(p - float3(0.9, 0.3 * sin(t), 0)) - 0.7;
    float3 corner = max(abs(p - float3(-1.1, -0.2, 0.3)) - float3(0.45, 0.6, 0.45), 0.0);
    float box = length(corner) - 0.1;
    float3 r = p - float3(0, 0.1, -1);
    float torus = length(float2(length(r.xz) - 0.9, r.y)) - 0.18;
    float height = clamp(p.y + 0.9, 0.0, 1.6);
    float post = length(p - float3(-0.1, height - 0.9, 1.1)) - 0.3;
    float d = blend(blend(blend(ball, box, 0.3), torus, 0.3), post, 0.3);
    return blend(d, p.y + 1, 0.2);
}

float shadow(float3 origin, float3 toSun, float t) {
    float light = 1;
    float along = 0.05;
    for (int i = 0; i < 24; i++) {
        float d = scene(origin + toSun * along, t);
        light = min(light, 8 * d / along);
        along += clamp(d, 0.03, 0.4);
        if (light < 0.005 || along > 5)
            break;
    }
    return saturate(light);
}

float3 normalAt(float3 p, float t) {
    float3 n = 0;
    n += float3(1, -1, -1) * scene(p + float3(1, -1, -1) * 0.002, t);
    n += float3(-1, -1, 1) * scene(p + float3(-1, -1, 1) * 0.002, t);
    n += float3(-1, 1, -1) * scene(p + float3(-1, 1, -1) * 0.002, t);
    n += float3(1, 1, 1) * scene(p + float3(1, 1, 1) * 0.002, t);
    return normalize(n);
}

kernel void k3_raymarch(device float4* out [[buffer(0)]], constant Frame& frame [[buffer(1)]],
                        uint2 at [[thread_position_in_grid]], uint2 size [[threads_per_grid]]) {
    float t = frame.seconds;
    float2 screen = (float2(at) + 0.5 - float2(480, 270)) / float2(270, -270);
    float3 eye(4.5 * sin(t * 0.3), 1.6, -4.5 * cos(t * 0.3));
    float3 forward = normalize(-eye - float3(0, 0.2, 0));
    float3 right = normalize(float3(forward.z, 0, -forward.x));
    float3 up = cross(forward, right);
    float3 ray = normalize(forward * 1.7 + right * screen.x + up * screen.y);

    float along = 0;
    bool hit = false;
    for (int i = 0; i < 96 && along <= 20; i++) {
        float d = scene(eye + ray * along, t);
        if (d < 0.001 * along) {
            hit = true;
            break;
        }
        along += d;
    }
    float3 color = mix(float3(0.75, 0.8, 0.85), float3(0.25, 0.45, 0.75), saturate(0.5 + 0.5 * ray.y));
    if (hit) {
        float3 p = eye + ray * along;
        float3 n = normalAt(p, t);
        float3 sun(0.57, 0.61, -0.55);
        float facing = max(dot(n, sun), 0.0);
        float shade = facing > 0 ? facing * shadow(p + n * 0.01, sun, t) : 0.0;
        float3 albedo = mix(float3(0.35, 0.4, 0.35), float3(0.85, 0.45, 0.3), saturate(p.y * 0.5 + 0.6));
        color = mix(albedo * (0.25 + 0.15 * n.y + 0.8 * shade), color, saturate(along * 0.05));
    }
    out[at.y * size.x + at.x] = float4(color, 1);
}
