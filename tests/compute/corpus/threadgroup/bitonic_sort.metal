// SPDX-License-Identifier: MIT
// Each threadgroup sorts its 64 elements.
// grid 128 group 64
// buffer 0: in uint[128] = (i * 2654435761 >> 7) % 1000
// buffer 1: out uint[128] == sorted(b0[i // 64 * 64:i // 64 * 64 + 64])[i % 64]
#include <metal_stdlib>
using namespace metal;

kernel void sort(device const uint* in [[buffer(0)]], device uint* out [[buffer(1)]],
                 uint id [[thread_position_in_grid]], uint local [[thread_position_in_threadgroup]]) {
    threadgroup uint keys[64];
    keys[local] = in[id];
    threadgroup_barrier(mem_flags::mem_threadgroup);
    for (uint size = 2; size <= 64; size *= 2)
        for (uint stride = size / 2; stride > 0; stride /= 2) {
            const uint other = local ^ stride;
            if (other > local) {
                const bool up = (local & size) == 0;
                const uint a = keys[local], b = keys[other];
                if ((a > b) == up) {
                    keys[local] = b;
                    keys[other] = a;
                }
            }
            threadgroup_barrier(mem_flags::mem_threadgroup);
        }
    out[id] = keys[local];
}
