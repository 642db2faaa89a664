// SPDX-License-Identifier: MIT
// A recursive filter of second order and a median of five, along rows.
// run filter grid 4 group 4
// run median grid 128 group 32
// buffer 0: in float[128] = (i * 37 % 64) / 32 - 1
// buffer 1: out float[128] ~= filtered(i // 32)[i % 32] within 1e-5
// buffer 2: out float[128] == sorted(b0[min(max(i + k, 0), 127)] for k in range(-2, 3))[2]
// python
// def filtered(row):
//     y1 = y2 = x1 = x2 = 0
//     out = []
//     for x in b0[32 * row:32 * row + 32]:
//         y = 0.2 * x + 0.4 * x1 + 0.2 * x2 + 0.36 * y1 - 0.19 * y2
//         x1, x2, y1, y2 = x, x1, y, y1
//         out.append(y)
//     return out
// end
#include <metal_stdlib>
using namespace metal;

struct Biquad {
    float b0, b1, b2, a1, a2;
    float x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    float operator()(float x) thread {
        const float y = b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        return y;
    }
};

kernel void filter(device const float* in [[buffer(0)]], device float* out [[buffer(1)]],
                   uint id [[thread_position_in_grid]]) {
    Biquad f{0.2, 0.4, 0.2, -0.36, 0.19};
    for (uint k = 0; k < 32; ++k)
        out[32 * id + k] = f(in[32 * id + k]);
}

static void order(thread float& a, thread float& b) {
    const float low = min(a, b);
    b = max(a, b);
    a = low;
}

kernel void median(device const float* in [[buffer(0)]], device float* out [[buffer(2)]],
                   uint id [[thread_position_in_grid]], uint n [[threads_per_grid]]) {
    float v[5];
    for (int k = -2; k <= 2; ++k)
        v[k + 2] = in[clamp(int(id) + k, 0, int(n) - 1)];
    order(v[0], v[1]);
    order(v[3], v[4]);
    order(v[0], v[3]);
    order(v[1], v[4]);
    order(v[1], v[2]);
    order(v[2], v[3]);
    order(v[1], v[2]);
    out[id] = median3(v[1], v[2], v[3]);
}
