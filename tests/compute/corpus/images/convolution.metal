// SPDX-License-Identifier: MIT
// A general convolution of any odd size with the kernel in constant memory, as bytes.
// grid 16x8 group 8x8
// constant 0: int = 3
// buffer 0: in uchar[128] = (i * i * 7) % 256
// buffer 1: in float[9] = (0, -1, 0, -1, 5, -1, 0, -1, 0)[i]
// buffer 2: out uchar[128] == min(max(sum(b1[k] * b0[min(max(i // 16 + k // 3 - 1, 0), 7) * 16 + min(max(i % 16 + k % 3 - 1, 0), 15)] for k in range(9)), 0), 255)
#include <metal_stdlib>
using namespace metal;

constant int size [[function_constant(0)]];

kernel void convolve(device const uchar* in [[buffer(0)]], constant float* weights [[buffer(1)]],
                     device uchar* out [[buffer(2)]], ushort2 p [[thread_position_in_grid]],
                     ushort2 extent [[threads_per_grid]]) {
    float sum = 0;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            const int2 at = clamp(int2(p) + int2(x, y) - size / 2, 0, int2(extent) - 1);
            sum += weights[y * size + x] * in[at.y * extent.x + at.x];
        }
    out[p.y * extent.x + p.x] = uchar(clamp(sum, 0.0f, 255.0f));
}
