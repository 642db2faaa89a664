// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Most of the library in one kernel, a group of functions a line.
#include <metal_stdlib>
#include <simd/simd.h>
using namespace metal;
struct S { float a; half b; };
kernel void k1(device float* o [[buffer(0)]], device atomic_int* ai [[buffer(1)]], device atomic<uint>* au [[buffer(2)]], texture2d<float> t [[texture(0)]], depth2d<float> dt [[texture(1)]], texture3d<float> t3 [[texture(2)]], texture2d_array<float> ta [[texture(3)]], texturecube<float> tc [[texture(4)]], sampler s [[sampler(0)]], uint3 g [[thread_position_in_grid]], uint3 n [[threads_per_grid]], uint3 tg [[threadgroup_position_in_grid]], uint lid [[thread_index_in_threadgroup]]) {
  float x = o[g.x];
  float3 v(x, x*2, x*3); half h = half(x); half3 hv = half3(v); int i = int(x); uint u = uint(i); int3 iv = int3(v); uint2 uv = g.xy;
  x += sinpi(x) + cospi(x) + tanpi(x) + exp10(x) + log10(x) + asinh(x) + acosh(x) + atanh(x);
  x += fdim(x, 1.0) + fmax3(x, 1.0, 2.0) + fmin3(x, 1.0, 2.0) + fmedian3(x, 1.0, 2.0) + nextafter(x, 1.0);
  x += ilogb(x) + ldexp(x, 3) + copysign(x, -1.0) + trunc(x) + rint(x) + fma(x, x, x) + powr(x, 2.0);
  x += metal::sin(x) + metal::fast::cos(x) + precise::exp(x) + fast::normalize(v).x + fast::length(v) + precise::sqrt(x) + fast::pow(x, 2.0f);
  h = sin(h) + cos(h) + pow(h, 2.0h) + max(h, 0.0h) + clamp(h, 0.0h, 1.0h) + mix(h, 1.0h, 0.5h) + smoothstep(0.0h, 1.0h, h) + saturate(h);
  h += max(h, half(0)); h = fract(h); h = h * 2.0 + 1; h += 0.5; h = -h; hv = hv * 2.0h + h; hv *= 0.5; hv = normalize(hv); hv.rgb = hv.bgr; hv = clamp(hv, 0.0h, 1.0h); hv = pow(hv, half3(2.2));  hv = mix(hv, half3(1), 0.5h); hv = select(hv, half3(0), hv > 0.5h);
  i = abs(i) + clamp(i, 0, 10) + max(i, 3) + min(i, 3) + (i % 3) + popcount(i) + clz(i) + ctz(i) + mulhi(i, 3) + mul24(i, 3) + mad24(i, 3, 4) + rotate(i, 3) + addsat(i, 3) + subsat(i, 3) + hadd(i, 3) + rhadd(i, 3) + absdiff(i, 3) + max3(i, 1, 2) + min3(i, 1, 2) + median3(i, 1, 2) + madhi(i, 2, 3) + madsat(i, 2, 3);
  u = reverse_bits(u) + insert_bits(u, 3u, 2, 4) + extract_bits(u, 2, 3) + (u >> 3) + (u & 0xff) + (~u) + (u ^ 0x55u);
  iv = abs(iv) + clamp(iv, 0, 3) + max(iv, 0) + min(iv, int3(3)) + iv % 3 + (iv << 1) + (iv & 1); iv.xy += int2(1); iv = select(iv, 0, iv > 2); 
  uv = uv % 3u + uint2(1) + (uv >> 1) + min(uv, 3u) + max(uv, uint2(1, 2)); u += all(uv > 0u) ? 1 : 0; u += any(uv == uint2(0)) ; bool2 b2 = uv == 0u; bool b = all(b2) || any(!b2) || b2.x; b2 = b2 && bool2(true, false);
  v = cross(v, float3(0, 1, 0)); v = reflect(v, v); v = refract(v, v, 1.3); v = faceforward(v, v, v); x += distance(v, float3(0)) + length_squared(v) + distance_squared(v, v) + dot(v, v); 
  v = fmod(v, 2.0); v = fmod(v, float3(2)); v = step(0.5, v); v = smoothstep(0.0, 1.0, v); v = sign(v); v = degrees(v);
  float3x3 m = float3x3(1.0); m = float3x3(v, v, v); m[0] = v; m[1].x = 2; m *= 2.0; m = m * m; v = m * v; v = v * m; m = transpose(m); float det = determinant(m); m = -m + m - m; float2x3 m23; v = m23 * float2(1, 2); float4x4 m4 = float4x4(float4(1), float4(2), float4(3), float4(4)); float4 w = m4 * float4(v, 1); float2x2 m2 = float2x2(1, 2, 3, 4); v.xy = m2 * v.xy; m2 = float2x2(float2(1, 2), float2(3, 4)); half3x3 hm = half3x3(m); 
  w = t.sample(s, v.xy) + t.sample(s, v.xy, level(2)) + t.sample(s, v.xy, bias(1)) + t.sample(s, v.xy, int2(1, 0)) + t.read(g.xy) + t.read(g.xy, 1) + t.gather(s, v.xy) + t.gather(s, v.xy, int2(0), component::y) + t.sample(s, v.xy, gradient2d(v.xy, v.xy)); x += dt.sample(s, v.xy) + dt.sample_compare(s, v.xy, 0.5) + dt.read(g.xy);
  w += t3.sample(s, v) + ta.sample(s, v.xy, 1) + tc.sample(s, v) + t3.read(g) ; u += t.get_width() + t.get_height(1) + t.get_num_mip_levels() + ta.get_array_size() + t3.get_depth();
  atomic_store_explicit(ai, 0, memory_order_relaxed); i += atomic_load_explicit(ai, memory_order_relaxed); i += atomic_fetch_add_explicit(ai, 1, memory_order_relaxed) + atomic_fetch_max_explicit(ai, 3, memory_order_relaxed); u += atomic_fetch_or_explicit(au, 3u, memory_order_relaxed); int expected = 0; b = atomic_compare_exchange_weak_explicit(ai, &expected, 1, memory_order_relaxed, memory_order_relaxed); 
  u = pack_float_to_unorm4x8(w) + pack_float_to_snorm4x8(w) + pack_float_to_unorm2x16(w.xy) + pack_half_to_unorm4x8(half4(w)); w = unpack_unorm4x8_to_float(u) + unpack_snorm4x8_to_float(u); v.xy = unpack_unorm2x16_to_float(u) + unpack_snorm2x16_to_float(u); half4 h4 = unpack_unorm4x8_srgb_to_half(u); 
  u = as_type<uint>(x); x = as_type<float>(u); w = as_type<float4>(uint4(u)); ushort2 us = as_type<ushort2>(u); half2 h2 = as_type<half2>(u); char4 c4 = as_type<char4>(u); uchar4 uc(255, 0, 1, 2); uc = uchar4(w * 255); w = float4(uc) / 255.0; 
  if (isnan(x) || isinf(x) || isfinite(x) || isnormal(x) || signbit(x) || any(isnan(v)) || isordered(x, x) || isunordered(x, x)) x = 0;
  float arr[4] = {1, 2, 3, 4}; float2 pts[] = { float2(0), {1, 2}, 3 }; S st = {1, 2}; S st2{.a = 1, .b = 2}; auto lam = [](float q) { return q * 2; }; x += lam(x) + arr[i & 3] + pts[1].x + st.a + st2.a;
  int ex; x += frexp(x, ex); float ip; x += modf(x, ip); float co; x += sincos(x, co); x += numeric_limits<float>::max() + FLT_MIN + M_PI_F + M_SQRT2_F + HUGE_VALF + MAXFLOAT; static_assert(is_same_v<decltype(v), float3>, ""); static_assert(sizeof(float3) == 16 && sizeof(packed_float3) == 12, "");
  packed_float3 pf = v; v = pf; pf = packed_float3(1, 2, 3); pf[1] = 3; x += pf.y; packed_uchar4 pu = uchar4(1); ushort4 u4 = ushort4(pu); v = float3(pf) * 2 + pf; 
  vec<float, 3> vv = v; vec<half, 2> vh(h); array<float3, 2> av = {v, vv}; av[0] = v; x += av.size(); simd_float4 sf = w; vector_float3 vf = v; matrix_float3x3 mf = m;
  o[g.x] = x + h + w.x + vh.x + h2.x + c4.x + us.x + h4.x + u4.x + sf.x + vf.x + mf[0][0] + hm[0][0] + i + u + select(1.0f, 2.0f, b);
  o += 1; device float* q = &o[1]; q[0] = *o; thread float* tp = &x; *tp = 1; thread float& tr = x; tr = 2; device float4& dv = *(device float4*)o; dv.xy = 1; dv = dv.wzyx; o[2] = dv.x ?: 1.0;
}
