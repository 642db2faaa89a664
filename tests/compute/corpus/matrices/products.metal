// SPDX-License-Identifier: MIT
// Products of matrices, square and not, with vectors on both sides.
// grid 20 group 20
// buffer 0: in float4[20] = (i % 5, i % 3 - 1, 2, -(i % 4))
// buffer 1: out float3[20] == times(M, b0[i])
// buffer 2: out float4[20] == timesRow(b0[i][:3], M)
// buffer 3: out float3[20] == times(product(M, N), b0[i][:2])
// buffer 4: out float2[20] == timesRow(timesRow(b0[i][:3], M), N)
// python
// M = [(1, 2, 3), (0, -1, 4), (5, 5, -2), (1, 0, 1)]   # columns
// N = [(1, 0, 2, -3), (4, 1, -1, 2)]
// def times(m, v): return tuple(sum(c[r] * x for c, x in zip(m, v, strict=True)) for r in range(len(m[0])))
// def timesRow(v, m): return tuple(sum(a * b for a, b in zip(c, v, strict=True)) for c in m)
// def product(a, b): return [times(a, c) for c in b]
// end
#include <metal_stdlib>
using namespace metal;

constant float4x3 m(float3(1, 2, 3), float3(0, -1, 4), float3(5, 5, -2), float3(1, 0, 1));
constant float2x4 n = {{1, 0, 2, -3}, {4, 1, -1, 2}};

kernel void products(device const float4* in [[buffer(0)]], device float3* a [[buffer(1)]],
                     device float4* b [[buffer(2)]], device float3* c [[buffer(3)]],
                     device float2* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    const float4 v = in[id];
    a[id] = m * v;
    b[id] = v.xyz * m;
    float2x3 p = m * n;
    c[id] = p * v.xy;
    float4 w = v.xyz * m;
    d[id] = w * n;
}
