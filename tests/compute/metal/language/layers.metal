// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Colour and distortion effects for user interfaces.
#include <metal_stdlib>
#include <SwiftUI/SwiftUI_Metal.h>
using namespace metal;

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
[[stitchable]] half4 checker(float2 pos, half4 color, float size, half4 replacement) {
    uint2 posInChecks = uint2(pos.x / size, pos.y / size);
    bool isColor = (posInChecks.x ^ posInChecks.y) & 1;
    return isColor ? replacement * color.a : half4(0, 0, 0, 0);
}
[[ stitchable ]] float2 wave(float2 position, float time, float2 size) {
    float2 d = position / size;
    position.y += sin(time * 5 + position.y / 20) * 5 * d.x;
    return position;
}
[[stitchable]] half4 grayscale(float2 p, half4 c) {
    half l = dot(c.rgb, half3(0.2126, 0.7152, 0.0722));
    return half4(l, l, l, c.a);
}
