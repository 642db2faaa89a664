// SPDX-License-Identifier: MIT
// A chain of masses on springs by Verlet steps with constraints, all in one thread's arrays.
// grid 6 group 6
// buffer 0: out float2[48] ~= chain(i // 8)[i % 8] within 2e-5
// python
// def chain(t):
//     now = [[k, 0.0] for k in range(8)]
//     old = [p[:] for p in now]
//     for _ in range(t + 1):
//         for k in range(1, 8):
//             p = now[k]
//             now[k], old[k] = [p[0] + (p[0] - old[k][0]) * 0.9, p[1] + (p[1] - old[k][1]) * 0.9 - 0.05], p
//         for _ in range(3):
//             for k in range(7):
//                 a, b = now[k], now[k + 1]
//                 d = [b[0] - a[0], b[1] - a[1]]
//                 e = (hypot(*d) - 1) / hypot(*d)
//                 w = 1 if k == 0 else 0.5
//                 now[k + 1] = [b[0] - d[0] * e * w, b[1] - d[1] * e * w]
//                 if k: now[k] = [a[0] + d[0] * e * w, a[1] + d[1] * e * w]
//     return now
// end
#include <metal_stdlib>
using namespace metal;

constant constexpr uint count = 8;

kernel void chain(device float2* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    array<float2, count> now, old;
    for (uint k = 0; k < count; ++k)
        now[k] = old[k] = float2(k, 0);
    for (uint t = 0; t <= id; ++t) {
        for (uint k = 1; k < count; ++k) {
            const float2 p = now[k];
            now[k] += (p - old[k]) * 0.9 - float2(0, 0.05);
            old[k] = p;
        }
        for (int pass = 0; pass < 3; ++pass)
            for (uint k = 0; k + 1 < count; ++k) {
                const float2 d = now[k + 1] - now[k];
                const float2 correction = d * ((length(d) - 1) / length(d)) * (k == 0 ? 1 : 0.5);
                now[k + 1] -= correction;
                if (k > 0)
                    now[k] += correction;
            }
    }
    for (uint k = 0; k < count; ++k)
        out[count * id + k] = now[k];
}
