// SPDX-License-Identifier: MIT
// YCbCr by a matrix, 4:2:0 subsampling over blocks of four pixels, and ordered dithering to one bit.
// run split grid 8x4 group 4x4
// run dither grid 16x8 group 8x8
// buffer 0: in uchar4[128] = (i * 7 % 256, i * 13 % 256, i * 29 % 256, 255)
// buffer 1: out float2[32] ~= tuple(sum(chroma(b0[(i // 8 * 2 + k // 2) * 16 + i % 8 * 2 + k % 2])[c] for k in range(4)) / 4 for c in (0, 1)) within 2e-6
// buffer 2: out uchar[128] == (luma(b0[i]) * 16 > BAYER[i // 16 % 4][i % 4] * 255 + 127)
// python
// BAYER = ((0, 8, 2, 10), (12, 4, 14, 6), (3, 11, 1, 9), (15, 7, 13, 5))
// def luma(c): return (77 * c[0] + 150 * c[1] + 29 * c[2]) >> 8
// def chroma(c):
//     r, g, b = (x / 255 for x in c[:3])
//     return (-0.168736 * r - 0.331264 * g + 0.5 * b, 0.5 * r - 0.418688 * g - 0.081312 * b)
// end
#include <metal_stdlib>
using namespace metal;

constant uchar bayer[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
constant float3x2 toChroma(float2(-0.168736, 0.5), float2(-0.331264, -0.418688), float2(0.5, -0.081312));

kernel void split(device const uchar4* pixels [[buffer(0)]], device float2* chroma [[buffer(1)]],
                  uint2 p [[thread_position_in_grid]]) {
    float2 sum = 0;
    for (uint k = 0; k < 4; ++k) {
        const uchar4 c = pixels[(p.y * 2 + k / 2) * 16 + p.x * 2 + k % 2];
        sum += toChroma * (float3(c.rgb) / 255);
    }
    chroma[p.y * 8 + p.x] = sum / 4;
}

kernel void dither(device const uchar4* pixels [[buffer(0)]], device uchar* bits [[buffer(2)]],
                   ushort2 p [[thread_position_in_grid]]) {
    const uchar4 c = pixels[p.y * 16 + p.x];
    const ushort luma = (77 * c.r + 150 * c.g + 29 * c.b) >> 8;
    bits[p.y * 16 + p.x] = luma * 16 > bayer[p.y & 3][p.x & 3] * 255 + 127;
}
