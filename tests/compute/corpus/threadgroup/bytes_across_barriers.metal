// SPDX-License-Identifier: MIT
// Each thread counts in bytes of its own, by an index that only the threadgroup knows, and goes on
// behind barriers: no two vectors of threads may share these bytes.
// grid 48 group 48
// buffer 0: out char4[48] == (0, 0, 1, i)
#include <metal_stdlib>
using namespace metal;

kernel void count(device char4* out [[buffer(0)]], uint id [[thread_position_in_grid]],
                  uint t [[thread_index_in_threadgroup]]) {
    threadgroup uint places[48];
    threadgroup float4 others[48];
    char4 own = {};
    places[t] = 4 * t;
    threadgroup_barrier(mem_flags::mem_threadgroup);
    const uint place = places[(t + 1) % 48];
    threadgroup_barrier(mem_flags::mem_threadgroup);
    ++own[place & 3];
    others[t] = float4(t);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    const float other = others[47 - t].x;
    threadgroup_barrier(mem_flags::mem_threadgroup);
    own.xz = char2(char(other > 100), char(own[0] >> char(0)));
    own.w = char(id);
    out[id] = own;
}
