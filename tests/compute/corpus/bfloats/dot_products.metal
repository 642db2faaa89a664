// SPDX-License-Identifier: MIT
// Products of vectors kept as bfloat, summed in float.
// grid 16 group 16
// buffer 0: in bfloat[128] = ((i * 7) % 13 - 6) / 4
// buffer 1: in bfloat[8] = (i - 3) / 2
// buffer 2: out float[16] == sum(b0[8 * i + k] * b1[k] for k in range(8))
// buffer 3: out bfloat[16] == bf16(sum(b0[8 * i + k] * b1[k] for k in range(8)) * 1.0078125)
#include <metal_stdlib>
using namespace metal;

kernel void product(device const bfloat* a [[buffer(0)]], constant bfloat* b [[buffer(1)]],
                    device float* sums [[buffer(2)]], device bfloat* rounded [[buffer(3)]],
                    uint id [[thread_position_in_grid]]) {
    float sum = 0;
    for (uint k = 0; k < 8; ++k)
        sum += float(a[8 * id + k]) * float(b[k]);
    sums[id] = sum;
    rounded[id] = bfloat(sum * 1.0078125f);
}
