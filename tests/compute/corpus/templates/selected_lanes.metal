// SPDX-License-Identifier: MIT
// Selected lanes on both sides of every operator, in a template, below an operator of the program.
// grid 16 group 16
// buffer 0: in uint4[16] = (i * 77777, i * i + 3, 65535 - i, 1 << i)
// buffer 1: out uint4[16] == (b0[i][0] | b0[i][2], b0[i][1] & b0[i][3], b0[i][0] ^ b0[i][2],
//     u32(b0[i][1] + b0[i][3]))
// buffer 2: out uint2[16] == (b0[i][1] >> i, u32(b0[i][0] << 3))
// buffer 3: out float2[16] == (i * (i + 1) - 2.0 * 4.0, i * 4.0 + 2.0 * (i + 1))
#include <metal_stdlib>
using namespace metal;

namespace algebra {
struct Complex {
    float re, im;
};
Complex operator*(Complex a, Complex b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
} // namespace algebra
using algebra::operator*;

template <class T>
static vec<T, 4> mixed(vec<T, 4> v) {
    return vec<T, 4>((v.xy | v.zw).x, (v.xy & v.zw).y, (v.xxy ^ v.zzw).x, (v.xy + v.zw).y);
}

template <class T>
static vec<T, 2> moved(vec<T, 4> v, vec<T, 4> by) {
    v.xz <<= by.xx;
    return vec<T, 2>((v.yx >> by.yy).x, v.x);
}

template <class T>
struct Rotated {
    T turn, point;
    vec<float, 2> apply() const {
        const auto product = turn * point; // the program's operator, by its namespace
        return vec<float, 2>(product.re, product.im);
    }
};

template <class V>
static V product(V a, V b) {
    a.zw *= b.xy * b.yx;
    a.xy = a.xy * b.zw;
    return a;
}

kernel void combine(device const uint4* in [[buffer(0)]], device uint4* out [[buffer(1)]],
                    device uint2* shifts [[buffer(2)]], device float2* rotated [[buffer(3)]],
                    uint i [[thread_position_in_grid]]) {
    threadgroup_barrier(mem_flags::mem_device | mem_flags::mem_threadgroup);
    out[i] = mixed(in[i]);
    shifts[i] = moved(in[i], uint4(3, i, 0, 0));
    const float4 p = product(float4(i, 2, 1, 1), float4(1, 1, 1, 1));
    rotated[i] =
        Rotated<algebra::Complex>{{p.x, p.y}, {float(i + 1) * p.z, 4 * p.w}}.apply();
}
