// SPDX-License-Identifier: MIT
// Numerical integration of functions given as lambdas, generic in their argument.
// grid 16 group 16
// buffer 0: out float[16] ~= (i + 1) ** 3 / 3 within 1e-5
// buffer 1: out float[16] ~= 1 - cos(i / 8) within 1e-5
// buffer 2: out float2[16] == (i * i, (i / 2) * (i / 2))
#include <metal_stdlib>
using namespace metal;

template <typename F>
static float simpson(F f, float a, float b, int pieces) {
    const float h = (b - a) / (2 * pieces);
    float sum = f(a) + f(b);
    for (int k = 1; k < 2 * pieces; ++k)
        sum += f(a + k * h) * (k % 2 ? 4 : 2);
    return sum * h / 3;
}

kernel void integrate(device float* a [[buffer(0)]], device float* b [[buffer(1)]],
                      device float2* c [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    a[id] = simpson([](float x) { return x * x; }, 0, id + 1.0, 4);
    const float scale = 1;
    b[id] = simpson([=](float x) { return sin(scale * x); }, 0, id / 8.0, 16);
    const auto square = [](auto v) { return v * v; };
    c[id] = float2(square(int(id)), square(id / 2.0f));
}
