#include <metal_stdlib>
using namespace metal;
template<class T> struct Tile { threadgroup T* p; T load(uint i) const threadgroup { return p[i]; } T load(uint i) const { return p[i]; } };
template<class T, int N> void fill(device T* in, threadgroup T* out, uint i) { out[i % N] = in[i]; }
template<class T, int N> kernel void red(device T* in [[buffer(0)]], uint i [[thread_position_in_grid]], uint l [[thread_index_in_threadgroup]]) {
  threadgroup T tile[N]; threadgroup float4 vs[2][4]; threadgroup atomic_int cnt; threadgroup int flag;
  fill<T, N>(in, tile, i);
  threadgroup T* q = tile; Tile<T> t{q};
  vs[0][l & 3] = float4(1); if (l == 0) atomic_store_explicit(&cnt, 0, memory_order_relaxed);
  threadgroup_barrier(mem_flags::mem_threadgroup);
  auto sum = [&](uint k) { return tile[k] + t.load(k); };
  flag = sum(l);
  in[i] = sum(l) + vs[0][0].x + flag;
}
template kernel void red<float, 32>(device float*, uint, uint);
kernel void two(device float* in [[buffer(0)]], threadgroup float* scratch [[threadgroup(0)]], uint i [[thread_position_in_grid]]) { scratch[i] = in[i]; }
kernel void three(device float* in [[buffer(0)]], constant float2 *c [[buffer(1)]], uint i [[thread_position_in_grid]]) { constant float k = 3; constant float t[2] = {1, 2}; const constant float2 *d = c + 1; in[i] = k + t[i & 1] + d->x; }
