// SPDX-License-Identifier: MIT
// Structures in threadgroup memory, handed to functions by reference and pointer.
// grid 32 group 16
// buffer 0: in float2[32] = (i % 7, (i * 5) % 9)
// buffer 1: out float4[2] == box(b0[16 * i:16 * i + 16])
// python
// def box(points):
//     xs, ys = zip(*points)
//     return (min(xs), min(ys), max(xs), max(ys))
// end
#include <metal_stdlib>
using namespace metal;

struct Box {
    float2 low, high;
};

static void join(threadgroup Box& a, threadgroup const Box* b) {
    a.low = min(a.low, b->low);
    a.high = max(a.high, b->high);
}

kernel void bounds(device const float2* points [[buffer(0)]], device float4* out [[buffer(1)]],
                   uint id [[thread_position_in_grid]], ushort t [[thread_position_in_threadgroup]],
                   ushort group [[threadgroup_position_in_grid]]) {
    threadgroup Box boxes[16];
    boxes[t] = {points[id], points[id]};
    for (ushort stride = 8; stride > 0; stride >>= 1) {
        threadgroup_barrier(mem_flags::mem_threadgroup);
        if (t < stride)
            join(boxes[t], &boxes[t + stride]);
    }
    if (t == 0)
        out[group] = float4(boxes[0].low, boxes[0].high);
}
