// SPDX-License-Identifier: MIT
// A mean and variance over a threadgroup: SIMD sums first, then one SIMD group sums those.
// grid 256 group 256
// buffer 0: in float[256] = (i * 3) % 16
// buffer 1: out float2[256] ~= (sum(b0) / 256, sum((v - sum(b0) / 256) ** 2 for v in b0) / 256)
#include <metal_stdlib>
using namespace metal;

static float groupSum(float v, threadgroup float* parts, uint lane, uint group, uint groups) {
    v = simd_sum(v);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    if (lane == 0)
        parts[group] = v;
    threadgroup_barrier(mem_flags::mem_threadgroup);
    return simd_sum(lane < groups ? parts[lane] : 0);
}

kernel void moments(device const float* in [[buffer(0)]], device float2* out [[buffer(1)]],
                    uint id [[thread_position_in_grid]], uint lane [[thread_index_in_simdgroup]],
                    uint group [[simdgroup_index_in_threadgroup]],
                    uint groups [[simdgroups_per_threadgroup]], uint n [[threads_per_threadgroup]]) {
    threadgroup float parts[8];
    const float mean = groupSum(in[id], parts, lane, group, groups) / n;
    const float d = in[id] - mean;
    out[id] = float2(mean, groupSum(d * d, parts, lane, group, groups) / n);
}
