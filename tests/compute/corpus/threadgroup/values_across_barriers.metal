// SPDX-License-Identifier: MIT
// Values of each thread that live across barriers: scalars, vectors, arrays and loop counters.
// grid 96 group 32
// buffer 0: out int[96] == expected(i // 32 * 32, i % 32)
// buffer 1: out float3[96] == (i, i + 1, (i // 32 * 32 + 31 - i % 32))
// python
// def expected(base, t):
//     acc, hist = t, [t, 2 * t, 3 * t]
//     shared = [base + k for k in range(32)]
//     for r in range(3):
//         shared_next = [s + hist_of(k, r) for k, s in enumerate(shared)]
//         acc += shared_next[(t + r + 1) % 32]
//         shared = shared_next
//     return acc + sum(hist)
// def hist_of(k, r): return (k, 2 * k, 3 * k)[r]
// end
#include <metal_stdlib>
using namespace metal;

kernel void live(device int* out [[buffer(0)]], device float3* vectors [[buffer(1)]],
                 uint id [[thread_position_in_grid]], uint t [[thread_position_in_threadgroup]]) {
    threadgroup int shared[32];
    threadgroup float swap[32];
    int history[3] = {int(t), int(2 * t), int(3 * t)};
    float3 v(id, id + 1, 0);
    swap[t] = id;
    shared[t] = id;
    threadgroup_barrier(mem_flags::mem_threadgroup);
    v.z = swap[31 - t];
    int sum = t;
    for (int r = 0; r < 3; ++r) {
        shared[t] += history[r];
        threadgroup_barrier(mem_flags::mem_threadgroup);
        sum += shared[(t + r + 1) % 32];
        threadgroup_barrier(mem_flags::mem_threadgroup);
    }
    out[id] = sum + history[0] + history[1] + history[2];
    vectors[id] = v;
}
