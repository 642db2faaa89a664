// SPDX-License-Identifier: MIT
// Lambdas that capture by value and by reference, take others, and return early.
// grid 24 group 8
// buffer 0: in float[24] = i / 2 - 5
// buffer 1: out float[24] == sum((b0[i] + k) ** 2 for k in range(4))
// buffer 2: out int[24] == (100 + 6 if b0[i] > 0 else -1)
// buffer 3: out float[24] == (b0[i] * 2 + 1) * 2 + 1
#include <metal_stdlib>
using namespace metal;

template <typename F>
static float repeated(F f, float x, int times) {
    for (int k = 0; k < times; ++k)
        x = f(x);
    return x;
}

kernel void captures(device const float* in [[buffer(0)]], device float* a [[buffer(1)]],
                     device int* b [[buffer(2)]], device float* c [[buffer(3)]],
                     uint id [[thread_position_in_grid]]) {
    const float x = in[id];
    float sum = 0;
    auto add = [&sum, x](int k) {
        const float v = x + k;
        sum += v * v;
    };
    for (int k = 0; k < 4; ++k)
        add(k);
    a[id] = sum;
    int n = 1;
    auto count = [&](int by) -> int {
        if (x <= 0)
            return -1;
        n += by;
        return n * 1;
    };
    count(2);
    const int result = count(3);
    b[id] = result < 0 ? -1 : 100 + result;
    c[id] = repeated([](float v) { return v * 2 + 1; }, x, 2);
}
