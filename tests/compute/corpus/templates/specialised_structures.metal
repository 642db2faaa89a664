// SPDX-License-Identifier: MIT
// A fixed-point number as a template with specialisations, arithmetic operators and conversions.
// grid 32 group 32
// buffer 0: in int[32] = (i - 16) * 300 + 7
// buffer 1: out int[32] == ((b0[i] * 384) >> 8) + 256 * 3
// buffer 2: out float[32] == b0[i] / 256
// buffer 3: out int[32] == b0[i] * 16 + (b0[i] >> 4)
#include <metal_stdlib>
using namespace metal;

template <int Bits>
struct Fixed {
    int raw;
    Fixed(int r) : raw(r) {}
    static Fixed of(float value) { return Fixed(int(value * (1 << Bits))); }
    Fixed operator+(Fixed o) const { return raw + o.raw; }
    Fixed operator*(Fixed o) const { return int(long(raw) * o.raw >> Bits); }
    explicit operator float() const { return raw / float(1 << Bits); }
    template <int Other>
    Fixed<Other> as() const {
        return Other > Bits ? raw << (Other > Bits ? Other - Bits : 0)
                            : raw >> (Other > Bits ? 0 : Bits - Other);
    }
};
using Number = Fixed<8>;

kernel void compute(device const int* in [[buffer(0)]], device int* a [[buffer(1)]],
                    device float* b [[buffer(2)]], device int* c [[buffer(3)]],
                    uint id [[thread_position_in_grid]]) {
    Number n(in[id]);
    a[id] = (n * Number::of(1.5) + Number::of(3)).raw;
    b[id] = float(n);
    c[id] = n.as<12>().raw + n.as<4>().raw;
}
