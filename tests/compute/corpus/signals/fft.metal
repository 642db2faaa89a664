// SPDX-License-Identifier: MIT
// A Fourier transform of 32 points in each thread's own memory, by butterflies.
// grid 8 group 8
// buffer 0: in float[256] = ((i * 7) % 16 - 8) / 8
// buffer 1: out float2[256] ~= transform(i // 32, i % 32) within 2e-5
// python
// import cmath
// def transform(row, k):
//     z = sum(b0[32 * row + n] * cmath.exp(-2j * pi * k * n / 32) for n in range(32))
//     return (z.real, z.imag)
// end
#include <metal_stdlib>
using namespace metal;

kernel void fft(device const float* in [[buffer(0)]], device float2* out [[buffer(1)]],
                uint id [[thread_position_in_grid]]) {
    constexpr uint n = 32, bits = 5;
    float2 z[n];
    for (uint k = 0; k < n; ++k)
        z[reverse_bits(k) >> (32 - bits)] = float2(in[n * id + k], 0);
    for (uint size = 2; size <= n; size *= 2) {
        const float angle = -2 * M_PI_F / size;
        for (uint start = 0; start < n; start += size)
            for (uint k = 0; k < size / 2; ++k) {
                float c;
                const float s = sincos(angle * k, c);
                const float2 a = z[start + k], b = z[start + k + size / 2];
                const float2 t(b.x * c - b.y * s, b.x * s + b.y * c);
                z[start + k] = a + t;
                z[start + k + size / 2] = a - t;
            }
    }
    for (uint k = 0; k < n; ++k)
        out[n * id + k] = z[k];
}
