// SPDX-License-Identifier: MIT
// A barrier within a function, called twice, and one under a condition that is the same for all.
// grid 64 group 16
// constant 0: bool = True
// buffer 0: out uint[64] == i // 16 * 16 + (i % 16 + 5 + 3) % 16 + 100
#include <metal_stdlib>
using namespace metal;

constant bool extra [[function_constant(0)]];

static uint shifted(threadgroup uint* row, uint t, uint by, uint value) {
    threadgroup_barrier(mem_flags::mem_threadgroup);
    row[t] = value;
    threadgroup_barrier(mem_flags::mem_threadgroup);
    return row[(t + by) % 16];
}

kernel void shift(device uint* out [[buffer(0)]], uint id [[thread_position_in_grid]],
                  uint t [[thread_index_in_threadgroup]], uint groups [[threadgroups_per_grid]]) {
    threadgroup uint row[16];
    uint v = shifted(row, t, 5, id);
    if (extra)
        v = shifted(row, t, 3, v);
    if (groups == 4) {
        threadgroup_barrier(mem_flags::mem_threadgroup);
        row[t] = v + 100;
        threadgroup_barrier(mem_flags::mem_threadgroup);
        v = row[t];
    }
    out[id] = v;
}
