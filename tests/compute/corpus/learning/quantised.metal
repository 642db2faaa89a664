// SPDX-License-Identifier: MIT
// Products of quantised numbers: four bits each in words, with a scale for each block.
// grid 8 group 8
// buffer 0: in uint[32] = u32(i * 2654435761 + 12345)
// buffer 1: in half[8] = (i + 1) / 8
// buffer 2: in char[32] = i * 37 % 256
// buffer 3: out int[8] == total(i)
// buffer 4: out float[8] == total(i) * b1[i]
// python
// def total(i):
//     return sum(((b0[4 * i + k // 8] >> k % 8 * 4 & 15) - 8) * b2[k] for k in range(32))
// end
#include <metal_stdlib>
using namespace metal;

kernel void product(device const uint* weights [[buffer(0)]], device const half* scales [[buffer(1)]],
                    device const char* x [[buffer(2)]], device int* sums [[buffer(3)]],
                    device float* out [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    int sum = 0;
    device const char4* inputs = (device const char4*)x;
    for (uint word = 0; word < 4; ++word) {
        const uint w = weights[4 * id + word];
        for (uint part = 0; part < 2; ++part) {
            const int4 q = int4(uint4(w) >> (uint4(0, 4, 8, 12) + 16 * part) & 15u) - 8;
            const int4 v = int4(inputs[2 * word + part]) * q;
            sum += v.x + v.y + v.z + v.w;
        }
    }
    sums[id] = sum;
    out[id] = float(sum) * scales[id];
}
