// SPDX-License-Identifier: MIT
// Vectors of half: mixes with float, conversions, swizzles and library functions.
// grid 32 group 32
// buffer 0: in half4[32] = (i / 32, 1 - i / 32, (i % 4) / 4, 1)
// buffer 1: out half4[32] ~= (lerp(b0[i][0], 0.5, 0.25), lerp(b0[i][1], 0.5, 0.25), lerp(b0[i][2], 0.25, 0.25), 1)
// buffer 2: out float3[32] == tuple(x * 3 for x in b0[i][:3])
// buffer 3: out half2[32] ~= (b0[i][0] * 0.5 + b0[i][1] * 0.25, sqrt(b0[i][2]))
// python
// def lerp(a, b, t): return a + (b - a) * t
// end
#include <metal_stdlib>
using namespace metal;

kernel void vectors(device const half4* in [[buffer(0)]], device half4* a [[buffer(1)]],
                    device float3* b [[buffer(2)]], device half2* c [[buffer(3)]],
                    uint id [[thread_position_in_grid]]) {
    half4 v = in[id];
    a[id] = mix(v, half4(half3(0.5h, 0.5h, 0.25h), 1), 0.25h);
    b[id] = float3(v.rgb) * 3;
    half2 d(dot(v.xy, half2(0.5h, 0.25h)), sqrt(v.z));
    c[id] = d;
}
