// SPDX-License-Identifier: MIT
// An 8 x 8 product by simdgroup_matrix, one SIMD group for each.
// grid 64 group 32
// buffer 0: in float[128] = (i * 7) % 5 - 2
// buffer 1: in float[128] = (i * 3) % 7 - 3
// buffer 2: out float[128] == sum(b0[base(i) + i % 64 // 8 * 8 + k] * b1[base(i) + k * 8 + i % 8] for k in range(8)) + 1
// python
// def base(i): return i // 64 * 64
// end
#include <metal_stdlib>
#include <metal_simdgroup_matrix>
using namespace metal;

kernel void multiply(device const float* a [[buffer(0)]], device const float* b [[buffer(1)]],
                     device float* c [[buffer(2)]], uint group [[threadgroup_position_in_grid]]) {
    simdgroup_float8x8 left, right;
    simdgroup_float8x8 sum = make_filled_simdgroup_matrix<float, 8>(1.0f);
    simdgroup_load(left, a + 64 * group, 8);
    simdgroup_load(right, b + 64 * group, 8);
    simdgroup_multiply_accumulate(sum, left, right, sum);
    simdgroup_store(sum, c + 64 * group, 8);
}
