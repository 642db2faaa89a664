// SPDX-License-Identifier: MIT
// A blur along a row out of a tile with borders, loaded by the threads at the ends.
// grid 128 group 32
// buffer 0: in float[128] = (i * 17) % 32
// buffer 1: out float[128] == sum(w * b0[min(max(i + k, 0), 127)] for k, w in zip(range(-2, 3), (1, 4, 6, 4, 1))) / 16
#include <metal_stdlib>
using namespace metal;

kernel void blur(device const float* in [[buffer(0)]], device float* out [[buffer(1)]],
                 uint id [[thread_position_in_grid]], uint n [[threads_per_grid]],
                 uint local [[thread_position_in_threadgroup]], uint size [[threads_per_threadgroup]]) {
    threadgroup float row[32 + 4];
    const auto at = [&](int k) { return in[clamp(k, 0, int(n) - 1)]; };
    row[local + 2] = in[id];
    if (local < 2) {
        row[local] = at(int(id) - 2);
        row[size + 2 + local] = at(int(id + size));
    }
    threadgroup_barrier(mem_flags::mem_threadgroup);
    out[id] = (row[local] + 4 * row[local + 1] + 6 * row[local + 2] + 4 * row[local + 3] + row[local + 4]) / 16;
}
