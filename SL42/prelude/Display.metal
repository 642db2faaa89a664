// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The display kernel: from a bank of screen memory to what the view shows.

#include <metal_stdlib>
using namespace metal;

constant char colorMode [[function_constant(0)]];
constant bool hdr [[function_constant(1)]];
constant bool showEditor [[function_constant(2)]];
constant bool invertEditorColors [[function_constant(3)]];

constant float3x3 yuvToRGB = float3x3(float3(1, 1, 1),
                                      float3(0, -0.336, 1.732),
                                      float3(1.371, -0.698, 0));
constant float3x3 rgbToYUV = float3x3(float3(0.299, -0.173, 0.511),
                                      float3(0.587, -0.339, -0.428),
                                      float3(0.114, 0.512, -0.083));

constexpr sampler editorSampler(filter::linear, mip_filter::linear, address::clamp_to_zero);

kernel void display(device half4* textureBuffer [[buffer(0)]],
                    texture2d<float, access::sample> editorY [[texture(0)]],
                    texture2d<float, access::sample> editorUV [[texture(1)]],
                    texture2d<half, access::write> outputTexture [[texture(2)]],
                    uint2 coord [[thread_position_in_grid]],
                    uint2 gridSize [[threads_per_grid]]) {
    half4 p = textureBuffer[coord.y * gridSize.x + coord.x];
    switch (colorMode) {
        case 0: // RGB
            break;
        case 1: // YUV
            p.rgb = half3(yuvToRGB * float3(p.rgb));
            break;
        case 2: // not implemented
            p.rgb = half3(1, 0, 1);
            break;
        default:
            break;
    }

    // Bright parts of the editor, its text, cover the picture; dark ones let it through.
    if (showEditor) {
        float2 uv = float2(coord) / float2(gridSize);
        float y = editorY.sample(editorSampler, uv).r;
        float2 chroma = editorUV.sample(editorSampler, uv).rg * 2 - 1;
        if (invertEditorColors) {
            y = 1 - y;
        }
        float3 ep = yuvToRGB * float3(y, chroma);
        p.rgb = half3(mix(float3(p.rgb), ep, max(max(ep.r, ep.g), ep.b)));
    }

    if (!hdr) {
        p = clamp(p, half4(0), half4(1));
    }
    outputTexture.write(p, coord);
}
