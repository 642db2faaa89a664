// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Swizzles read, written, passed, compared and chosen between.
#include <metal_stdlib>
using namespace metal;

template <typename T>
T twice(T v) {
    return v + v;
}

static void swap(thread float& a, thread float& b) {
    float t = a;
    a = b;
    b = t;
}

static float2 mirrored(float2 p) {
    return abs(p.yx);
}

kernel void swizzle(device float4* out [[buffer(0)]], device packed_float3* points [[buffer(1)]],
                    uint id [[thread_position_in_grid]]) {
    float4 v = out[id];
    v.xy = v.yx;
    v.xz += 0.5;
    v.rgb *= v.a;
    v.wzyx = v.xyzw;
    v.yzw = cross(v.xyz, v.zxy);
    v.xy = {1, 2};
    v.r = v.g = v.b;
    v.x++;
    v.zw -= v.xy * 2.;
    out[id].xyz = v.zyx;
    out[id].w += 1;
    float3 p = points[id];
    points[id].x = p.y;
    points[id].zy = p.xy;
    float2 q = v.x > 0 ? v.xy : v.zw;
    q = id == 0 ? v.xx : float2(0);
    auto r = v.xyz;
    r.x = dot(v.xy, v.zw) + length(v.rgb) + v.xyz.z;
    q = twice(v.zx) + mirrored(v.wz) + mix(v.zw, 1, .5) + max(v.xy, 0);
    swap(v.x, v.y);
    float m = max(max(v.x, v.y), v.z) + v[2] + v[id & 3];
    bool inside = all(q > 0) && all(v.xyz < 1) && any(v.rg == v.ba);
    if (inside)
        v = v.bgra;
    int3 cell = int3(floor(r));
    cell.xz = cell.zx;
    out[id + 1] = float4(r, m) + q.xyxy + float4(float3(cell), 1) + v.xxxx;
}
