// SPDX-License-Identifier: MIT
// Threads that have nothing to do stay until the last barrier; what they hold stays out of the sum.
// grid 64 group 32
// buffer 0: in uint[2] = (20, 9)[i]
// buffer 1: out uint[64] == sum(k * k for k in range(b0[i // 32])) if i % 32 < b0[i // 32] else 0
#include <metal_stdlib>
using namespace metal;

kernel void partial(device const uint* counts [[buffer(0)]], device uint* out [[buffer(1)]],
                    uint id [[thread_position_in_grid]], uint t [[thread_position_in_threadgroup]],
                    uint group [[threadgroup_position_in_grid]]) {
    threadgroup uint squares[32];
    threadgroup uint total;
    const bool active = t < counts[group];
    if (active)
        squares[t] = t * t;
    threadgroup_barrier(mem_flags::mem_threadgroup);
    if (t == 0) {
        total = 0;
        for (uint k = 0; k < counts[group]; ++k)
            total += squares[k];
    }
    threadgroup_barrier(mem_flags::mem_threadgroup);
    if (!active) {
        out[id] = 0;
        return;
    }
    out[id] = total;
}
