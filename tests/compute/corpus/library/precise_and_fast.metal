// SPDX-License-Identifier: MIT
// The namespaces precise and fast, and fused multiplication with one rounding.
// grid 32 group 32
// buffer 0: in float[32] = 1 + i * 2 ** -12
// buffer 1: out float[32] == f32(fractions.Fraction(b0[i]) ** 2 - 1)
// buffer 2: out float2[32] ~= (sin(1e4 * b0[i]), exp(b0[i]))
// buffer 3: out float2[32] ~= (sin(b0[i]), b0[i] ** 2.5) within 1e-4
// python
// import fractions
// end
#include <metal_stdlib>
using namespace metal;

kernel void namespaces(device const float* in [[buffer(0)]], device float* a [[buffer(1)]],
                       device float2* b [[buffer(2)]], device float2* c [[buffer(3)]],
                       uint id [[thread_position_in_grid]]) {
    const float x = in[id];
    a[id] = fma(x, x, -1.0f);
    volatile float large = x;
    b[id] = float2(precise::sin(1e4f * large), precise::exp(x));
    c[id] = float2(fast::sin(x), fast::pow(x, 2.5f));
}
