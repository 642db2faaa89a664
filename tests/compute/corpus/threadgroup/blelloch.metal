// SPDX-License-Identifier: MIT
// Exclusive prefix sums with an up-sweep and a down-sweep, two elements for each thread.
// grid 64 group 32
// buffer 0: in int[128] = (i * 53) % 19 - 6
// buffer 1: out int[128] == sum(b0[i // 64 * 64:i])
#include <metal_stdlib>
using namespace metal;

kernel void sweep(device const int* in [[buffer(0)]], device int* out [[buffer(1)]],
                  uint local [[thread_position_in_threadgroup]],
                  uint group [[threadgroup_position_in_grid]]) {
    constexpr uint n = 64;
    threadgroup int tree[n];
    in += group * n;
    out += group * n;
    tree[2 * local] = in[2 * local];
    tree[2 * local + 1] = in[2 * local + 1];
    uint offset = 1;
    for (uint d = n >> 1; d > 0; d >>= 1) {
        threadgroup_barrier(mem_flags::mem_threadgroup);
        if (local < d)
            tree[offset * (2 * local + 2) - 1] += tree[offset * (2 * local + 1) - 1];
        offset *= 2;
    }
    if (local == 0)
        tree[n - 1] = 0;
    for (uint d = 1; d < n; d *= 2) {
        offset >>= 1;
        threadgroup_barrier(mem_flags::mem_threadgroup);
        if (local < d) {
            const uint a = offset * (2 * local + 1) - 1, b = offset * (2 * local + 2) - 1;
            const int t = tree[a];
            tree[a] = tree[b];
            tree[b] += t;
        }
    }
    threadgroup_barrier(mem_flags::mem_threadgroup);
    out[2 * local] = tree[2 * local];
    out[2 * local + 1] = tree[2 * local + 1];
}
