// SPDX-License-Identifier: MIT
// Sums whose last bits tell in which order they were made: the same on every device, of all threads
// and of some.
// grid 96 group 48
// buffer 0: in float[96] = ((i * 37 % 64) - 31.3) * 2 ** (i * 7 % 20 - 10)
// buffer 1: out float[96] == halved(lanes(i))
// buffer 2: out float[96] == backwards(i, i)
// buffer 3: out float[96] == backwards(i, i - 1)
// buffer 4: out float[96] == quad(i)
// buffer 5: inout float[96] = 0 == (halved(thirds(i)) if i % 3 == 0 else 0)
// python
// def first(i): return i // 48 * 48 + i % 48 // 32 * 32
// def lanes(i): return [k if k < i // 48 * 48 + 48 else None for k in range(first(i), first(i) + 32)]
// def thirds(i): return [k if k is not None and k % 3 == 0 else None for k in lanes(i)]
// def value(k): return 0.0 if k is None else f32(b0[k])
// def halved(places):
//     sums = [value(k) for k in places]
//     while len(sums) > 1:
//         half = len(sums) // 2
//         sums = [f32(sums[k] + sums[k + half]) for k in range(half)]
//     return sums[0]
// def backwards(i, last):
//     sums = [value(last - k if last - k >= first(i) else None) for k in range(32)]
//     while len(sums) > 1:
//         sums = [f32(sums[k] + sums[k + 1]) for k in range(0, len(sums), 2)]
//     return sums[0]
// def quad(i): return f32(f32(value(i) + value(i ^ 2)) + f32(value(i ^ 1) + value(i ^ 3)))
// end
#include <metal_stdlib>
using namespace metal;

kernel void sums(device const float* in [[buffer(0)]], device float* all [[buffer(1)]],
                 device float* inclusive [[buffer(2)]], device float* exclusive [[buffer(3)]],
                 device float* quads [[buffer(4)]], device float* some [[buffer(5)]],
                 uint id [[thread_position_in_grid]]) {
    const float x = in[id];
    all[id] = simd_sum(x);
    inclusive[id] = simd_prefix_inclusive_sum(x);
    exclusive[id] = simd_prefix_exclusive_sum(x);
    quads[id] = quad_sum(x);
    if (id % 3 == 0)
        some[id] = simd_sum(x);
}
