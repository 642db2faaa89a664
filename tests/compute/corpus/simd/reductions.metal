// SPDX-License-Identifier: MIT
// Sums, products, extremes and bits of a SIMD group's 32 threads.
// grid 128 group 64
// buffer 0: in int[128] = (i * 31) % 17 - 8
// buffer 1: out int4[128] == (sum(group(i)), min(group(i)), max(group(i)), product(i))
// buffer 2: out uint4[128] == (and_of(i), or_of(i), xor_of(i), i % 64 // 32)
// buffer 3: out float2[128] == (sum(group(i)) / 4, max(group(i)))
// python
// from functools import reduce
// def group(i): return b0[i // 32 * 32:i // 32 * 32 + 32]
// def product(i): return (-1) ** sum(v < 0 for v in group(i)) * 2 ** sum(v > 6 for v in group(i))
// def and_of(i): return reduce(lambda a, b: a & b, [u32(v) | 0xf0 for v in group(i)])
// def or_of(i): return reduce(lambda a, b: a | b, [u32(v) & 5 for v in group(i)])
// def xor_of(i): return reduce(lambda a, b: a ^ b, [u32(v) for v in group(i)])
// end
#include <metal_stdlib>
using namespace metal;

kernel void reduce(device const int* in [[buffer(0)]], device int4* a [[buffer(1)]],
                   device uint4* b [[buffer(2)]], device float2* c [[buffer(3)]],
                   uint id [[thread_position_in_grid]], uint group [[simdgroup_index_in_threadgroup]]) {
    const int v = in[id];
    a[id] = int4(simd_sum(v), simd_min(v), simd_max(v), simd_product((v < 0 ? -1 : 1) * (v > 6 ? 2 : 1)));
    b[id] = uint4(simd_and(uint(v) | 0xf0), simd_or(uint(v) & 5), simd_xor(uint(v)), group);
    c[id] = float2(simd_sum(v / 4.0f), simd_max(float(v)));
}
