// SPDX-License-Identifier: MIT
// Heat on a grid with fixed edges: steps between two buffers.
// run there grid 16x8 group 8x8
// run back grid 16x8 group 8x8
// buffer 0: inout float[128] = 0 if i * 5 % 7 else 64 == stepped(stepped(b0))[i]
// buffer 1: out float[128] == stepped(b0)[i]
// python
// def stepped(g):
//     out = list(g)
//     for y in range(1, 7):
//         for x in range(1, 15):
//             k = y * 16 + x
//             out[k] = g[k] + 0.125 * (g[k - 1] + g[k + 1] + g[k - 16] + g[k + 16] - 4 * g[k])
//     return out
// end
#include <metal_stdlib>
using namespace metal;

static void diffuse(device const float* from, device float* to, uint2 p, uint2 size) {
    const uint k = p.y * size.x + p.x;
    const bool isEdge = any(p == 0) || any(p == size - 1);
    const float c = from[k];
    if (isEdge) {
        to[k] = c;
        return;
    }
    const float around = from[k - 1] + from[k + 1] + from[k - size.x] + from[k + size.x];
    to[k] = c + 0.125 * (around - 4 * c);
}

kernel void there(device const float* a [[buffer(0)]], device float* b [[buffer(1)]],
                  uint2 p [[thread_position_in_grid]], uint2 size [[threads_per_grid]]) {
    diffuse(a, b, p, size);
}
kernel void back(device float* a [[buffer(0)]], device const float* b [[buffer(1)]],
                 uint2 p [[thread_position_in_grid]], uint2 size [[threads_per_grid]]) {
    diffuse(b, a, p, size);
}
