// SPDX-License-Identifier: MIT
// Colours between RGB and hue, saturation, value.
// grid 64 group 32
// buffer 0: in float3[64] = (i % 4 / 3, i // 4 % 4 / 3, i // 16 / 3)
// buffer 1: out float3[64] ~= hsv(b0[i])
// buffer 2: out float3[64] ~= b0[i]
// python
// import colorsys
// def hsv(c): return colorsys.rgb_to_hsv(*c)
// end
#include <metal_stdlib>
using namespace metal;

static float3 toHsv(float3 c) {
    const float high = max(c.r, max(c.g, c.b)), low = min(c.r, min(c.g, c.b));
    const float chroma = high - low;
    float hue = 0;
    if (chroma > 0) {
        if (high == c.r)
            hue = fract((c.g - c.b) / chroma / 6 + 1);
        else if (high == c.g)
            hue = ((c.b - c.r) / chroma + 2) / 6;
        else
            hue = ((c.r - c.g) / chroma + 4) / 6;
    }
    return float3(hue, high > 0 ? chroma / high : 0, high);
}

static float3 toRgb(float3 hsv) {
    const float3 k = abs(fract(hsv.x + float3(1, 2.0 / 3, 1.0 / 3)) * 6 - 3);
    return hsv.z * mix(float3(1), saturate(k - 1), hsv.y);
}

kernel void convert(device const float3* in [[buffer(0)]], device float3* a [[buffer(1)]],
                    device float3* b [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    a[id] = toHsv(in[id]);
    b[id] = toRgb(a[id]);
}
