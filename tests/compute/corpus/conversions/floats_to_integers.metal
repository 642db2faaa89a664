// SPDX-License-Identifier: MIT
// Conversions of floating-point numbers saturate; what is no number becomes 0.
// grid 16 group 16
// buffer 0: in float[16] = (0.0, -0.0, 0.99, -0.99, 1.5, -1.5, 127.9, 128.5, -129, 255.9, 256, 3e9, -3e9, 5e9, 1e20, nan)[i]
// buffer 1: out int[16] == saturated(b0[i], -2**31, 2**31 - 1)
// buffer 2: out uint[16] == saturated(b0[i], 0, 2**32 - 1)
// buffer 3: out long[16] == saturated(b0[i], -2**63, 2**63 - 1)
// buffer 4: out short[16] == saturated(b0[i], -2**15, 2**15 - 1)
// buffer 5: out uchar[16] == saturated(b0[i], 0, 255)
// buffer 6: out bool[16] == b0[i] != 0
// python
// def saturated(x, low, high):
//     return 0 if isnan(x) else int(min(max(x, low), high))
// end
#include <metal_stdlib>
using namespace metal;

kernel void convert(device const float* in [[buffer(0)]], device int* a [[buffer(1)]],
                    device uint* b [[buffer(2)]], device long* c [[buffer(3)]],
                    device short* d [[buffer(4)]], device uchar* e [[buffer(5)]],
                    device bool* f [[buffer(6)]], uint id [[thread_position_in_grid]]) {
    a[id] = int(in[id]);
    b[id] = uint(in[id]);
    c[id] = long(in[id]);
    d[id] = short(in[id]);
    e[id] = uchar(in[id]);
    f[id] = bool(in[id]);
}
