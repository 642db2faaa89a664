// SPDX-License-Identifier: MIT
// Two sorted halves merged by each thread finding its elements' places.
// grid 32 group 32
// buffer 0: in uint[64] = (i * 3 + 1) if i < 32 else ((i - 32) * 5 + 2)
// buffer 1: out uint[64] == sorted(b0)[i]
#include <metal_stdlib>
using namespace metal;

static uint below(device const uint* sorted, uint n, uint key, bool orEqual) {
    uint first = 0;
    for (uint step = n; step > 0; step /= 2)
        while (first + step <= n && (orEqual ? sorted[first + step - 1] <= key : sorted[first + step - 1] < key))
            first += step;
    return first;
}

kernel void merge(device const uint* in [[buffer(0)]], device uint* out [[buffer(1)]],
                  uint id [[thread_position_in_grid]], uint n [[threads_per_grid]]) {
    device const uint* right = in + n;
    out[id + below(right, n, in[id], false)] = in[id];
    out[id + below(in, n, right[id], true)] = right[id];
}
