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
struct Camera { matrix_float4x4 projection; simd::float4x4 view; vector_float3 eye; };
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

fragment FragmentOut fragmentMain(VertexOut in [[stage_in]], constant Camera& camera [[buffer(0)]],
                                  texture2d<half, access::sample> albedo [[texture(0)]],
                                  sampler s [[sampler(0)]], bool front [[front_facing]],
                                  float2 point [[point_coord]]) {
    if (albedo.sample(s, in.uv).a < 0.5h)
        discard_fragment();
    float3 n = normalize(front ? in.normal : -in.normal);
    float width = fwidth(in.uv.x) + dfdy(in.uv).y + length(dfdx(in.normal));
    float light = saturate(dot(n, normalize(camera.eye))) + width;
    return {half4(half3(albedo.sample(s, in.uv).rgb * half(light)), 1), float4(n, 0),
            in.position.z + point.x};
}

[[ stitchable ]] half4 ripple(float2 position, SwiftUI::Layer layer, float2 origin, float time) {
    float2 way = position - origin;
    float amount = sin(15 * max(0.0, time - length(way) / 1200)) * exp(-8 * time);
    half4 color = layer.sample(position + amount * normalize(way));
    color.rgb += 0.3 * amount * color.a;
    return color;
}
