// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Vertex and fragment functions, and colour effects for user interfaces: they compile beside
// kernels.
#include <metal_stdlib>
#include <simd/simd.h>
#include <SwiftUI/SwiftUI_Metal.h>
using namespace metal;

struct VertexIn {
    float3 position [[attribute(0)]];
    float3 normal [[attribute(1)]];
    half2 uv [[attribute(2)]];
};
struct VertexOut {
    float4 position [[position]];
    float3 normal;
    float2 uv [[user(texturecoord)]];
    float size [[point_size]];
    uint layer [[flat]];
};
struct Camera {
    matrix_float4x4 projection;
    simd::float4x4 view;
    vector_float3 eye;
};
struct FragmentOut {
    half4 color [[color(0)]];
    float4 normal [[color(1)]];
    float depth [[depth(any)]];
};

vertex VertexOut vertexMain(VertexIn in [[stage_in]], constant Camera& camera [[buffer(1)]],
                            uint vid [[vertex_id]], uint iid [[instance_id]]) {
    VertexOut out;
    out.position = camera.projection * camera.view * float4(in.position, 1);
    out.normal = in.normal;
    out.uv = float2(in.uv);
    out.size = 4;
    out.layer = iid + vid;
    return out;
}

vertex float4 fullscreen(uint vid [[vertex_id]]) {
    float2 p = float2((vid << 1) & 2, vid & 2);
    return float4(p * 2 - 1, 0, 1);
}

fragment FragmentOut fragmentMain(VertexOut in [[stage_in]], constant Camera& camera [[buffer(0)]],
                                  texture2d<half, access::sample> albedo [[texture(0)]],
                                  sampler s [[sampler(0)]], bool front [[front_facing]],
                                  float2 point [[point_coord]]) {
    if (albedo.sample(s, in.uv).a < 0.5h)
        discard_fragment();
    float3 n = normalize(front ? in.normal : -in.normal);
    float3 dx = dfdx(in.normal);
    float width = fwidth(in.uv.x) + dfdy(in.uv).y;
    float light = saturate(dot(n, normalize(camera.eye))) + length(dx) * width;
    return {half4(half3(albedo.sample(s, in.uv).rgb * half(light)), 1), float4(n, 0),
            in.position.z + point.x};
}

fragment half4 flatColor() {
    return half4(1, 0, 0, 1);
}

[[stitchable]] half4 sepia(float2 position, half4 color, float amount) {
    half3 toned = half3(dot(color.rgb, half3(.393, .769, .189)), dot(color.rgb, half3(.349, .686, .168)),
                        dot(color.rgb, half3(.272, .534, .131)));
    return half4(mix(color.rgb, toned, half(amount)), color.a);
}

[[ stitchable ]] half4 ripple(float2 position, SwiftUI::Layer layer, float2 origin, float time, float amplitude) {
    float dist = length(position - origin);
    float delay = dist / 1200;
    time -= delay;
    time = max(0.0, time);
    float rippleAmount = amplitude * sin(15 * time) * exp(-8 * time);
    float2 n = normalize(position - origin);
    float2 newPosition = position + rippleAmount * n;
    half4 color = layer.sample(newPosition);
    color.rgb += 0.3 * (rippleAmount / amplitude) * color.a;
    return color;
}
