// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Forty shapes with smooth edges over each pixel; most of the work is the same for all pixels.
// Buffers: 0 receives the result, 1 holds the frame.
#include <metal_stdlib>
using namespace metal;

struct Frame {
    float seconds;
    uint number;
};

float coverage(float distance) { return saturate(0.5 - distance); }

float segment(float2 p, float2 a, float2 b) {
    float2 along = b - a;
    float h = saturate(dot(p - a, along) / dot(along, along));
    return length(p - a - along * h);
}

float roundBox(float2 p, float2 extent, float radius) {
    float2 q = abs(p) - extent + radius;
    return min(max(q.x, q.y), 0.0) + length(max(q, 0.0)) - radius;
}

float2 toEdge(float2 v, float2 edge) { return v - edge * saturate(dot(v, edge) / dot(edge, edge)); }

float side(float2 v, float2 edge) { return v.x * edge.y - v.y * edge.x; }

float triangle(float2 p, float2 a, float2 b, float2 c) {
    float2 e0 = b - a, e1 = c - b, e2 = a - c;
    float2 v0 = p - a, v1 = p - b, v2 = p - c;
    float2 q0 = toEdge(v0, e0), q1 = toEdge(v1, e1), q2 = toEdge(v2, e2);
    float winding = side(e0, e2) < 0 ? -1.0 : 1.0;
    float inside = min(min(winding * side(v0, e0), winding * side(v1, e1)), winding * side(v2, e2));
    float d = sqrt(min(min(dot(q0, q0), dot(q1, q1)), dot(q2, q2)));
    return inside > 0 ? -d : d;
}

float2 place(float k, float t) {
    float2 cycle = fract(float2(k * 0.618034 + t * 0.05, k * 0.414214 + t * 0.03));
    return abs(cycle * 2 - 1) * float2(960, 540);
}

float3 tint(float k) { return fract(float3(k * 0.31 + 0.1, k * 0.47 + 0.5, k * 0.73 + 0.3)); }

kernel void k2_shapes(device float4* out [[buffer(0)]], constant Frame& frame [[buffer(1)]],
                      uint2 at [[thread_position_in_grid]], uint2 size [[threads_per_grid]]) {
    float t = frame.seconds;
    float2 p = float2(at) + 0.5;
    float3 color(0.05, 0.06, 0.1);
    for (int i = 0; i < 10; i++) {
        float k = float(i) * 4;
        float disc = length(p - place(k, t)) - (12 + k * 2);
        color = mix(color, tint(k), coverage(disc) * 0.7);
        float line = segment(p, place(k + 1, t), place(k + 1.5, t)) - 3;
        color = mix(color, tint(k + 1), coverage(line) * 0.8);
        float box = roundBox(p - place(k + 2, t), float2(60, 30 + k), 12);
        color = mix(color, tint(k + 2), coverage(box) * 0.6);
        float2 corner = place(k + 3, t);
        float tri = triangle(p, corner, corner + float2(90, 20), corner + float2(30, 80));
        color = mix(color, tint(k + 3), coverage(tri) * 0.7);
    }
    out[at.y * size.x + at.x] = float4(color, 1);
}
