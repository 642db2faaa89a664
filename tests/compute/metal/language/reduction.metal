// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Shared memory and barriers, which compile and are reported where a kernel would run them.
#include <metal_stdlib>
using namespace metal;
kernel void reduce(device const float *in [[buffer(0)]], device float *out [[buffer(1)]], threadgroup float *shared [[threadgroup(0)]],
  uint tid [[thread_position_in_threadgroup]], uint bid [[threadgroup_position_in_grid]], uint bs [[threads_per_threadgroup]]) {
  threadgroup float tile[256];
  tile[tid] = in[bid * bs + tid]; shared[tid] = tile[tid];
  threadgroup_barrier(mem_flags::mem_threadgroup);
  for (uint s = bs / 2; s > 0; s >>= 1) { if (tid < s) shared[tid] += shared[tid + s]; threadgroup_barrier(mem_flags::mem_threadgroup | mem_flags::mem_device); }
  if (tid == 0) out[bid] = shared[0];
}
