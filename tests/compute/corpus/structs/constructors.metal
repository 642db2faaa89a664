// SPDX-License-Identifier: MIT
// Structures with constructors, members with initialisers, and operators.
// grid 16 group 16
// buffer 0: out float2[16] ~= ((i * 1 - 2 * -1) / 2, (i * -1 + 2 * 1) / 2)
// buffer 1: out int[16] == 7 + i * 3
#include <metal_stdlib>
using namespace metal;

struct Complex {
    float re = 0, im = 0;
    Complex() = default;
    Complex(float r, float i = 0) : re(r), im(i) {}
    Complex operator*(Complex o) const thread { return {re * o.re - im * o.im, re * o.im + im * o.re}; }
    thread Complex& operator/=(float s) {
        re /= s;
        im /= s;
        return *this;
    }
};
struct Counter {
    int value = 7;
    void add(int n) { value += n; }
    int get() const { return value; }
};

kernel void construct(device float2* a [[buffer(0)]], device int* b [[buffer(1)]],
                      uint id [[thread_position_in_grid]]) {
    Complex z(id, 2);
    z = z * Complex(1, -1);
    z /= 2;
    a[id] = float2(z.re, z.im);
    Counter c;
    for (uint k = 0; k < 3; ++k)
        c.add(id);
    b[id] = c.get();
}
