// SPDX-License-Identifier: MIT
// Derivatives by dual numbers: a template over the kind of number.
// grid 40 group 8
// buffer 0: out float2[40] ~= (f(i / 10 + 0.1), df(i / 10 + 0.1)) within 1e-5
// python
// def f(x): return x ** 3 * sin(x) / (1 + x)
// def df(x): return ((3 * x * x * sin(x) + x ** 3 * cos(x)) * (1 + x) - x ** 3 * sin(x)) / (1 + x) ** 2
// end
#include <metal_stdlib>
using namespace metal;

struct Dual {
    float v, d;
    Dual(float value, float derivative = 0) : v(value), d(derivative) {}
};
static Dual operator+(Dual a, Dual b) { return {a.v + b.v, a.d + b.d}; }
static Dual operator*(Dual a, Dual b) { return {a.v * b.v, a.d * b.v + a.v * b.d}; }
static Dual operator/(Dual a, Dual b) { return {a.v / b.v, (a.d * b.v - a.v * b.d) / (b.v * b.v)}; }
static Dual sin(Dual a) { return {metal::sin(a.v), a.d * cos(a.v)}; }

template <typename T>
static T formula(T x) {
    return x * x * x * sin(x) / (T(1) + x);
}

kernel void derive(device float2* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    const float x = id / 10.0 + 0.1;
    const Dual d = formula(Dual(x, 1));
    out[id] = float2(d.v, d.d);
    if (fabs(formula(x) - d.v) > 1e-5)
        out[id] = NAN;
}
