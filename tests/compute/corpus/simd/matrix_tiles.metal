// SPDX-License-Identifier: MIT
// C = A B + C for 16 x 24 times 24 x 16, as linear algebra libraries cut it: each SIMD-group of the
// threadgroup makes one tile of 8 x 8, from parts of A and B that all of them load; halves summed as
// floats. Then the same of transposed matrices, and what each thread holds.
// run multiply grid 128 group 128
// run transposed grid 32 group 32
// run elements grid 32 group 32
// buffer 0: in half[384] = (i * 7 % 11 - 5) / 4
// buffer 1: in half[384] = (i * 5 % 13 - 6) / 8
// buffer 2: inout float[256] = i % 3
//     == sum(b0[i // 16 * 24 + k] * b1[k * 16 + i % 16] for k in range(24)) + i % 3
// buffer 3: out float[64] == sum(b0[k * 24 + i // 8 + 8] * b1[(i % 8) * 16 + k + 4] for k in range(8))
// buffer 4: out float[64] == (100 + i * 2 if i % 9 else 101 + i * 2)
// buffer 5: out half[64] == (b0[i] if i % 8 != 3 else 0)
#include <metal_stdlib>
#include <metal_simdgroup_matrix>
using namespace metal;

constant constexpr int rows = 16, inner = 24, columns = 16;

kernel void multiply(device const half* a [[buffer(0)]], device const half* b [[buffer(1)]],
                     device float* c [[buffer(2)]], ushort group [[simdgroup_index_in_threadgroup]],
                     ushort thread_index [[thread_index_in_threadgroup]]) {
    threadgroup half left[rows * 8];
    threadgroup half right[8 * columns];
    const int2 tile = 8 * int2(group % 2, group / 2);
    simdgroup_float8x8 sum;
    simdgroup_load(sum, c, columns, ulong2(tile));
    for (int k = 0; k < inner; k += 8) {
        left[thread_index] = a[thread_index / 8 * inner + k + thread_index % 8];
        right[thread_index] = b[(k + thread_index / 16) * columns + thread_index % 16];
        threadgroup_barrier(mem_flags::mem_threadgroup);
        simdgroup_half8x8 x, y;
        simdgroup_load(x, left + tile.y * 8, 8);
        simdgroup_load(y, right + tile.x, columns, 0, false);
        simdgroup_multiply_accumulate(sum, x, y, sum);
        threadgroup_barrier(mem_flags::mem_threadgroup);
    }
    simdgroup_store(sum, c, columns, ulong2(tile));
}

kernel void transposed(device const half* a [[buffer(0)]], device const half* b [[buffer(1)]],
                       device float* c [[buffer(3)]]) {
    simdgroup_matrix<half, 8, 8> x, y;
    simdgroup_matrix<float, 8, 8> product;
    simdgroup_load(x, a, inner, ulong2(8, 0), true);
    simdgroup_load(y, b, columns, ulong2(4, 0), true);
    simdgroup_multiply(product, x, y);
    simdgroup_store(product, c);
}

kernel void elements(device const half* a [[buffer(0)]], device float* c [[buffer(4)]],
                     device half* d [[buffer(5)]], uint lane [[thread_index_in_simdgroup]]) {
    const uint quad = lane / 4;
    const uint row = (quad & 4) + (lane / 2) % 4;
    const uint column = (quad & 2) * 2 + (lane % 2) * 2;
    simdgroup_float8x8 m = make_diagonal_simdgroup_matrix<float, 8>(1.0f);
    thread auto& own = m.thread_elements();
    own[0] += 100 + 2 * float(row * 8 + column);
    own[1] += 102 + 2 * float(row * 8 + column);
    simdgroup_store(m, c, 8);

    simdgroup_half8x8 h;
    simdgroup_load(h, a);
    if (column == 2)
        h.thread_elements()[1] = 0;
    simdgroup_store(h, d, 8);
}
