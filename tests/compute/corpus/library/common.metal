// SPDX-License-Identifier: MIT
// Interpolation and steps, as scalars and componentwise with scalars mixed in.
// grid 33 group 11
// buffer 0: in float[33] = i / 16 - 0.5
// buffer 1: out float4[33] ~= (1 if b0[i] >= 0.5 else 0, smooth(0, 1, b0[i]), 2 + (b0[i] * 3), min(max(b0[i], 0), 1))
// buffer 2: out float3[33] ~= tuple(a + (b - a) * b0[i] for a, b in ((1, 5), (2, 2), (-1, 1)))
// buffer 3: out float2[33] ~= (smooth(0.25, 0.5, b0[i]), smooth(0.25, 0.5, 1 - b0[i]))
// buffer 4: out float2[33] ~= (b0[i] / pi * 180, b0[i] * pi / 180) within 1e-5
// python
// def smooth(a, b, x):
//     t = min(max((x - a) / (b - a), 0), 1)
//     return t * t * (3 - 2 * t)
// end
#include <metal_stdlib>
using namespace metal;

kernel void common(device const float* in [[buffer(0)]], device float4* a [[buffer(1)]],
                   device float3* b [[buffer(2)]], device float2* c [[buffer(3)]],
                   device float2* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    const float x = in[id];
    a[id] = float4(step(0.5, x), smoothstep(0.0, 1.0, x), mix(2.0, 5.0, x), saturate(x));
    b[id] = mix(float3(1, 2, -1), float3(5, 2, 1), x);
    c[id] = smoothstep(0.25, 0.5, float2(x, 1 - x));
    d[id] = float2(x * 180 / M_PI_F, x * (M_PI_F / 180));
}
