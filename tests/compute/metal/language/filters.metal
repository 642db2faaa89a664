// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Image filters: convolution, matrices, bit operations, selections.
#include <metal_stdlib>
#include <metal_math>
#include <metal_matrix>
#include <metal_geometric>
using namespace metal;
float4x4 rotation(float3 axis, float angle) {
    axis = normalize(axis);
    float s = sin(angle), c = cos(angle), oc = 1.0 - c;
    return float4x4(float4(oc * axis.x * axis.x + c, oc * axis.x * axis.y - axis.z * s, oc * axis.z * axis.x + axis.y * s, 0),
                    float4(oc * axis.x * axis.y + axis.z * s, oc * axis.y * axis.y + c, oc * axis.y * axis.z - axis.x * s, 0),
                    {oc * axis.z * axis.x - axis.y * s, oc * axis.y * axis.z + axis.x * s, oc * axis.z * axis.z + c, 0},
                    float4(0, 0, 0, 1));
}
template<typename T, int N> vec<T, N> lerp(vec<T, N> a, vec<T, N> b, T t) { return a + (b - a) * t; }
template<typename T> struct Box { vec<T,3> lo, hi; bool contains(vec<T,3> p) const { return all(p >= lo) && all(p <= hi); } };
using float3Box = Box<float>;
inline half luma(half3 c) { return dot(c, half3(0.299h, 0.587h, 0.114h)); }
float max3(float3 v) { return max(max(v.x, v.y), v.z); }
float2 rotate(float2 v, float a) { float s = sin(a); float c = cos(a); return float2x2(c, s, -s, c) * v; }
constant array<float, 5> weights = {0.227027, 0.1945946, 0.1216216, 0.054054, 0.016216};
constant float kernelX[9] = { -1, 0, 1, -2, 0, 2, -1, 0, 1 };
kernel void sobel(texture2d<float, access::sample> src [[texture(0)]], texture2d<float, access::write> dst [[texture(1)]],
                  device float *stats [[buffer(0)]], uint2 gid [[thread_position_in_grid]], uint tiw [[thread_index_in_threadgroup]]) {
    constexpr sampler smp(coord::pixel, filter::nearest, address::clamp_to_edge);
    float gx = 0, gy = 0;
#pragma unroll
    for (int y = -1; y <= 1; ++y)
        for (int x = -1; x <= 1; ++x) {
            float l = luma(half3(src.sample(smp, float2(gid) + float2(x, y)).rgb));
            gx += l * kernelX[(y + 1) * 3 + x + 1];
            gy += l * kernelX[(x + 1) * 3 + y + 1];
        }
    float blur = 0; for (uint i = 0; i < weights.size(); i++) blur += weights[i] * src.read(gid + i).r;
    float4x4 m = rotation({0, 1, 0}, gx); m[3] = float4(1, 2, 3, 1); m[0][1] = gy; float3x3 n = float3x3(m[0].xyz, m[1].xyz, m[2].xyz);
    float3 v = n * float3(gx, gy, 1); v = v * n; v = transpose(n) * v; float det = determinant(n);
    float3Box b; b.lo = -1; b.hi = float3(1);
    float g = length(float2(gx, gy)); float fract = g; fract += 1; int sgn = sign(g); int k = select(1, 2, g > .5);
    uint bits = as_type<uint>(g); bits = (reverse_bits(bits) ^ popcount(bits)) | clz(bits) << 3; bits = extract_bits(bits, 3, 4); uint4 ub(bits); ub.xy = uint2(1, 2); ub.zw += ub.xy; ub = ub << 1u; ub >>= 2;
    bool3 lt = v < 0.5; bool ok = (!any(lt) && b.contains(v)) || isnan(g); float3 sel = select(v, float3(0), lt); float2 l2 = lerp(v.xy, v.yz, .5f);
    float mo; float fr = modf(g, mo); int ex; float ma = frexp(g, ex); float c; float s = sincos(g, c);
    dst.write(float4(rotate(l2, g), max3(sel), ok ? 1 : fr + ma + s + c + sgn + k + det + blur), gid);
    stats[tiw] = float(ub.w) + pow(2, g) + clamp(g, 0, 1) + min(g, 1.) + max(0, g) + mix(0, 1, g) + step(.5, g) + ldexp(g, 2) + fract;
}
