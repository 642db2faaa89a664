// SPDX-License-Identifier: MIT
// Minimum, maximum and clamp take the number where the other side is none.
// grid 6 group 6
// buffer 0: in float2[6] = ((nan, 2), (2, nan), (-1, 3), (nan, -5), (-5, nan), (0.5, nan))[i]
// buffer 1: out float4[6] == (smaller(*b0[i]), larger(*b0[i]), smaller(*b0[i]), larger(*b0[i]))
// buffer 2: out float2[6] == (larger(0, b0[i][0]), min(1, larger(0, b0[i][0])))
// buffer 3: out half2[6] == (smaller(*b0[i]), larger(*b0[i]))
// buffer 4: out float3[6] == tuple(larger(0.25, x) for x in (b0[i][0], b0[i][1], 1))
// python
// def smaller(a, b): return b if isnan(a) else a if isnan(b) else min(a, b)
// def larger(a, b): return b if isnan(a) else a if isnan(b) else max(a, b)
// end
#include <metal_stdlib>
using namespace metal;

kernel void rules(device const float2* in [[buffer(0)]], device float4* a [[buffer(1)]],
                  device float2* b [[buffer(2)]], device half2* c [[buffer(3)]],
                  device float3* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    const float x = in[id].x, y = in[id].y;
    a[id] = float4(min(x, y), max(x, y), fmin(x, y), fmax(x, y));
    b[id] = float2(max(0.0f, x), saturate(x));
    c[id] = half2(min(half(x), half(y)), max(half(x), half(y)));
    d[id] = max(float3(x, y, 1), 0.25);
}
