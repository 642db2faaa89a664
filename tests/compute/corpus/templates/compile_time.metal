// SPDX-License-Identifier: MIT
// Recursion in templates, packs of parameters, and values worked out by the compiler.
// grid 16 group 16
// buffer 0: out int[16] == i ** 5 + factorial(5)
// buffer 1: out float[16] == i + 1 + 2.5 + (i * 2)
// buffer 2: out uint[16] == (0, 1, 4, 9, 16, 25, 36, 49)[i % 8]
#include <metal_stdlib>
using namespace metal;

template <int N>
struct Power {
    static int of(int x) { return x * Power<N - 1>::of(x); }
};
template <>
struct Power<0> {
    static int of(int) { return 1; }
};
constexpr int factorialOf(int n) {
    return n < 2 ? 1 : n * factorialOf(n - 1);
}
static float total(float x) { return x; }
template <typename... Rest>
static float total(float first, Rest... rest) {
    return first + total(rest...);
}
template <uint N>
struct Squares {
    uint values[N];
    constexpr Squares() : values{} {
        for (uint k = 0; k < N; ++k)
            values[k] = k * k;
    }
};
constant constexpr Squares<8> squares;

kernel void compute(device int* a [[buffer(0)]], device float* b [[buffer(1)]], device uint* c [[buffer(2)]],
                    uint id [[thread_position_in_grid]]) {
    constexpr int f = factorialOf(5);
    static_assert(f == 120, "computed by the compiler");
    a[id] = Power<5>::of(id) + f;
    b[id] = total(id, 1, 2.5f, id * 2.0f);
    c[id] = squares.values[id % 8];
}
