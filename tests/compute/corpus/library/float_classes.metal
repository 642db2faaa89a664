// SPDX-License-Identifier: MIT
// Tests for infinities, numbers that are none, signs and zeros.
// grid 12 group 12
// buffer 0: in float[12] = (0.0, -0.0, 1.5, -1.5, inf, -inf, nan, 1e38, 2.0 ** -126, -1e-30, 3, -7)[i]
// buffer 1: out uint[12] == isnan(b0[i]) + 2 * isinf(b0[i]) + 4 * isfinite(b0[i]) + 8 * (copysign(1, b0[i]) < 0 and not isnan(b0[i])) + 16 * (isfinite(b0[i]) and b0[i] != 0)
// buffer 2: out float[12] == abs(b0[i])
// buffer 3: out float[12] == copysign(3.5, b0[i]) if not isnan(b0[i]) else 0
// buffer 4: out uint2[12] == (b0[i] < 1, not b0[i] >= 1)
#include <metal_stdlib>
using namespace metal;

kernel void classes(device const float* in [[buffer(0)]], device uint* a [[buffer(1)]],
                    device float* b [[buffer(2)]], device float* c [[buffer(3)]],
                    device uint2* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    const float x = in[id];
    a[id] = uint(isnan(x)) | uint(isinf(x)) << 1 | uint(isfinite(x)) << 2 |
            uint(signbit(x) && !isnan(x)) << 3 | uint(isnormal(x)) << 4;
    b[id] = fabs(x);
    c[id] = isnan(x) ? 0 : copysign(3.5f, x);
    d[id] = uint2(x < 1, !(x >= 1));
}
