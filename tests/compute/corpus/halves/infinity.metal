// SPDX-License-Identifier: MIT
// A product beyond what a half can hold is infinite, and that shows in its tests.
// grid 4 group 4
// buffer 0: in half[4] = (60000, 200, 256, -300)[i]
// buffer 1: out bool[4] == isinf(f16(b0[i] * b0[i]))
// buffer 2: out half[4] == f16(b0[i] * b0[i])
// buffer 3: out float[4] == f16(b0[i] * 300)
#include <metal_stdlib>
using namespace metal;

kernel void overflow(device const half* in [[buffer(0)]], device bool* a [[buffer(1)]],
                     device half* b [[buffer(2)]], device float* c [[buffer(3)]],
                     uint id [[thread_position_in_grid]]) {
    const half z = in[id];
    a[id] = isinf(z * z);
    b[id] = z * z;
    half product = z * 300.0h;
    c[id] = float(product);
}
