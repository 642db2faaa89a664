// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Idioms of shader authors: aliases and macros of other languages, operators, unions, tables.
#include <metal_stdlib>
using namespace metal;
#define PI 3.14159265359
#define iResolution resolution
constant float3 kRec709 = float3(0.2126, 0.7152, 0.0722);
constant static const int kN = 8;
constant float kTable[kN] = {0, .1, .2, .3, .4, .5, .6, .7};
constant float2x2 kRot = float2x2(0.8, 0.6, -0.6, 0.8);
constant half4 clearColor(0.0h, 0.0h, 0.0h, 1.0h);
static constant float3 pts[3] = {{0,0,0}, {1,1,1}, float3(2)};
template <typename T> T sq(T x) { return x * x; }
template <typename T, typename U> auto add(T a, U b) -> decltype(a + b) { return a + b; }
template <uint N> struct Acc { float v[N]; thread float& operator[](uint i) thread { return v[i]; } const thread float& operator[](uint i) const thread { return v[i]; } };
struct Ray { float3 o, d; float3 at(float t) const { return o + t * d; } };
struct Hit { float t = INFINITY; int id = -1; bool operator<(thread const Hit& b) const { return t < b.t; } explicit operator bool() const { return id >= 0; } };
struct Material { half3 albedo; float rough; enum Kind : uchar { Matte, Metal = 4 } kind; union { float f; uint u; } data; };
namespace scene { static constant Ray r0 = { float3(0), float3(0, 0, 1) }; inline float plane(float3 p) { return p.y; } }
using scene::plane;
typedef float2 vec2; typedef float3 vec3; typedef float4 vec4; using mat3 = float3x3;
#define mod(x, y) ((x) - (y) * floor((x) / (y)))
vec2 hash22(vec2 p) { p = vec2(dot(p, vec2(127.1, 311.7)), dot(p, vec2(269.5, 183.3))); return -1.0 + 2.0 * fract(sin(p) * 43758.5453123); }
float sdf(thread const Ray& r, constant Ray* rays, int n) { float m = 1e9; for (int i = 0; i < n; ++i) m = min(m, length(r.at(1) - rays[i].at(2))); return m; }
void swap2(thread float& a, thread float& b) { float t = a; a = b; b = t; }
void fill(thread float* a, int n, float v = 0) { while (n--) *a++ = v; }
bool intersect(Ray r, thread float* t, thread float3* nrm) { float b = dot(r.o, r.d), c = dot(r.o, r.o) - 1; float h = b*b - c; if (h < 0) return false; *t = -b - sqrt(h); *nrm = normalize(r.at(*t)); return true; }
half3 aces(half3 x) { const half a = 2.51h, b = 0.03h, c = 2.43h, d = 0.59h, e = 0.14h; return saturate((x * (a * x + b)) / (x * (c * x + d) + e)); }
float3 hsv2rgb(float3 c) { float4 K = float4(1.0, 2.0 / 3.0, 1.0 / 3.0, 3.0); float3 p = abs(fract(c.xxx + K.xyz) * 6.0 - K.www); return c.z * mix(K.xxx, clamp(p - K.xxx, 0.0, 1.0), c.y); }
float voronoi(float2 x) { int2 p = int2(floor(x)); float2 f = fract(x); float res = 8.0; for (int j = -1; j <= 1; j++) for (int i = -1; i <= 1; i++) { int2 b = int2(i, j); float2 r = float2(b) - f + hash22(float2(p + b)); res = min(res, dot(r, r)); } return sqrt(res); }
kernel void main0(texture2d<half, access::write> out [[texture(0)]], texture2d<half, access::sample> in [[texture(1)]], constant float4& params [[buffer(0)]], constant Ray* rays [[buffer(1)]], device uint* counters [[buffer(2)]], device packed_float2* pk [[buffer(3)]], uint2 gid [[thread_position_in_grid]], uint2 size [[threads_per_grid]]) {
  if (any(gid >= size)) return;
  if (gid.x >= out.get_width() || gid.y >= out.get_height()) { return; }
  const float2 uv = (float2(gid) + 0.5) / float2(out.get_width(), out.get_height());
  float2 st = uv * 2.0 - 1.0; st.x *= float(size.x) / size.y; st *= kRot; st = kRot * st;
  Ray r{float3(0, 0, -3), normalize(float3(st, 1.5))}; Hit best; float t; float3 nrm;
  if (intersect(r, &t, &nrm) && t < best.t) best = {t, 1}; Hit other = Hit(); if (best < other && best) { t = sq(t) + add(1, t); }
  float a = 1, b = 2; swap2(a, b); float arr[16]; fill(arr, 16); fill(arr, 4, 1.5); Acc<4> acc; for (uint i = 0; i < 4; i++) acc[i] = arr[i] * kTable[i]; 
  Material m; m.kind = Material::Metal; m.data.f = 1; m.albedo = half3(kRec709); switch (m.kind) { case Material::Matte: break; case Material::Metal: { m.rough = 1; } break; }
  half4 c = in.sample(sampler(filter::linear, address::mirrored_repeat), uv); constexpr sampler s2(coord::normalized, address::clamp_to_edge, filter::linear); c += in.sample(s2, uv + float2(1, 0) / float2(size)); c = mix(c, clearColor, half(params.w));
  float3 col = hsv2rgb(float3(uv.x, 1, 1)) * voronoi(st * 5) + plane(r.o) + mod(uv.x, 0.3) + length(pts[gid.x % 3]) + sdf(r, rays, 3) + scene::r0.d.z; col = pow(col, float3(1.0 / 2.2)); col = col * float3(0.5) + .5; col.r = uv.x > .5 ? col.g : 0; col = (col - 0.5) * 1.2 + 0.5; col = max(col, 0.0); col = min(col, float3(1)); float l = dot(col, kRec709); col = l + (col - l) * 1.5;
  float3 k = float3(sin(params.x), 0, 1), kk = {0}; float4 q = {uv, 0, 1}, q2(uv, uv), q3(uv.x, uv, 1), q4 = float4(col.rg, uv); q.xy += uv.yx; q.zw = q.xy - q2.xy; q = q.wzyx * q3 / q4; q2 = -q; q3++; q4 -= 1; q *= float4x4(1); float f = q[2]; q[3] = f; bool3 bb = col > 0.5 && col < 0.9; col = select(col, k, bb); col = any(bb) ? col : kk;
  uint idx = gid.y * size.x + gid.x; counters[idx] = uint(l * 255) << 24 | (uint(f) & 0xFFu); counters[idx] += 1; pk[idx] = packed_float2(uv); pk[idx] += 1; float2 un = pk[idx]; int2 ii = int2(gid) - int2(size) / 2; float d2 = length(float2(ii)); uint2 wrapped = uint2((ii + int2(size)) % int2(size)); ushort2 sg = ushort2(gid); half2 hg = half2(sg); long big = long(idx) * 3; uchar byte = uchar(f); char sc = -1; short sh = short(ii.x); size_t sz = sizeof(Ray); ulong ul = 1ul << 40; bool odd = idx & 1; float tern = odd ? 1 : 0.5; int sgn = (ii.x > 0) - (ii.x < 0);
  out.write(half4(aces(half3(col)), 1.0h) + c * 0.0h + half(un.x + d2 + wrapped.x + hg.x + big + byte + sc + sh + sz + ul + tern + sgn + a + acc[1] + q2.x), gid); out.write(half4(0), ushort2(gid)); out.write(1, gid);
}
fragment float4 frag(float4 pos [[position]], constant float& time [[buffer(0)]], float2 uv [[stage_in]]) { float2 p = pos.xy / 100.0; float w = fwidth(p.x) + dfdx(p.y); return float4(p, w, 1) * time; }
