// SPDX-License-Identifier: MIT
// Tones with an envelope: phases in fixed point, a wave table, a saw, a square.
// grid 128 group 32
// buffer 0: out float3[128] ~= (wave(i), (phase(i) >> 16) / 32768 - 1, (-1 if phase(i) >> 31 else 1) * max(0, 1 - i / 100)) within 2e-6
// python
// def phase(i): return u32(i * 440 * 2 ** 32 // 8000)
// def wave(i):
//     p = phase(i) / 2 ** 32 * 16
//     k = floor(p)
//     a, b = sin(2 * pi * k / 16), sin(2 * pi * (k + 1) / 16)
//     return a + (b - a) * (p - k)
// end
#include <metal_stdlib>
using namespace metal;

kernel void tones(device float3* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    const uint phase = uint(ulong(id) * 440 * 0x100000000ul / 8000);
    const uint k = phase >> 28;
    const float part = (phase & 0x0fffffff) * 0x1p-28f;
    const float a = sinpi(k / 8.0), b = sinpi((k + 1) / 8.0);
    const float envelope = fmax(0, 1 - id / 100.0);
    out[id] = float3(mix(a, b, part), (phase >> 16) / 32768.0 - 1, phase >> 31 ? -envelope : envelope);
}
