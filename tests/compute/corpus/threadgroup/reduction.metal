// SPDX-License-Identifier: MIT
// The sum of each threadgroup's elements by halving, in threadgroup memory.
// grid 256 group 64
// buffer 0: in float[256] = (i * 37 % 64) - 20
// buffer 1: out float[4] == sum(b0[64 * i:64 * i + 64])
// buffer 2: out float[256] == max(b0[i // 64 * 64:i // 64 * 64 + 64])
#include <metal_stdlib>
using namespace metal;

kernel void reduce(device const float* in [[buffer(0)]], device float* sums [[buffer(1)]],
                   device float* largest [[buffer(2)]], uint id [[thread_position_in_grid]],
                   uint local [[thread_position_in_threadgroup]],
                   uint group [[threadgroup_position_in_grid]],
                   uint size [[threads_per_threadgroup]]) {
    threadgroup float parts[64];
    threadgroup float top;
    parts[local] = in[id];
    threadgroup_barrier(mem_flags::mem_threadgroup);
    if (local == 0) {
        top = parts[0];
        for (uint k = 1; k < size; ++k)
            top = max(top, parts[k]);
    }
    threadgroup_barrier(mem_flags::mem_threadgroup);
    largest[id] = top;
    for (uint stride = size / 2; stride > 0; stride /= 2) {
        if (local < stride)
            parts[local] += parts[local + stride];
        threadgroup_barrier(mem_flags::mem_threadgroup);
    }
    if (local == 0)
        sums[group] = parts[0];
}
