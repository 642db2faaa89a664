// SPDX-License-Identifier: MIT
// The transfer curve of sRGB and back, and luminance.
// grid 64 group 32
// buffer 0: in float3[64] = (i / 63, 1 - i / 63, (i * i % 64) / 63)
// buffer 1: out float3[64] ~= tuple(map(linear, b0[i]))
// buffer 2: out float3[64] ~= b0[i] within 2e-6
// buffer 3: out float[64] ~= sum(w * linear(x) for w, x in zip((0.2126, 0.7152, 0.0722), b0[i]))
// python
// def linear(x): return x / 12.92 if x <= 0.04045 else ((x + 0.055) / 1.055) ** 2.4
// end
#include <metal_stdlib>
using namespace metal;

static float3 decoded(float3 c) {
    return select(pow((c + 0.055) / 1.055, 2.4), c / 12.92, c <= 0.04045);
}
static float3 encoded(float3 c) {
    const bool3 dark = c <= 0.0031308;
    return select(1.055 * pow(c, 1 / 2.4) - 0.055, 12.92 * c, dark);
}

kernel void srgb(device const float3* in [[buffer(0)]], device float3* a [[buffer(1)]],
                 device float3* b [[buffer(2)]], device float* c [[buffer(3)]],
                 uint id [[thread_position_in_grid]]) {
    const float3 l = decoded(in[id]);
    a[id] = l;
    b[id] = encoded(l);
    c[id] = dot(l, float3(0.2126, 0.7152, 0.0722));
}
