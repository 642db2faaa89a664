// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What programs use most is instantiated once, when the library is precompiled, and not in every
// program. Nothing here is ever called. Only what many programs have belongs here: with one
// instance of a template, the compiler reads all others that the library has.
#pragma once
#pragma clang system_header

#include <metal_stdlib>

namespace __sl42 {

template <class T>
inline vec<T, 4> instantiateVectors(T x) {
    vec<T, 2> two(x);
    two = vec<T, 2>(x, x);
    vec<T, 2> movedTwo(static_cast<vec<T, 2>&&>(two));
    vec<T, 3> three(x);
    three = vec<T, 3>(x, x, x);
    three = vec<T, 3>(two, x);
    three = vec<T, 3>(x, movedTwo);
    vec<T, 3> movedThree(static_cast<vec<T, 3>&&>(three));
    vec<T, 4> four(x);
    four = vec<T, 4>(x, x, x, x);
    four = vec<T, 4>(three, x);
    four = vec<T, 4>(two, x, x);
    four = vec<T, 4>(two, two);
    four = vec<T, 4>(x, movedThree);
    const vec<T, 4> copy(four);
    vec<T, 4> movedFour(static_cast<vec<T, 4>&&>(four));
    return movedFour;
}

template <class T, class U>
inline void instantiateConversion(T, U x) {
    (void)vec<T, 2>(vec<U, 2>(x));
    (void)vec<T, 3>(vec<U, 3>(x));
    (void)vec<T, 4>(vec<U, 4>(x));
}

template <class T, int N>
inline void instantiateArithmetic(vec<T, N> v) {
    v += v / v * v - v + -v;
    v -= v;
    v *= v;
    v = v + v[0];
}
template <class T>
inline void instantiateSwizzles(vec<T, 2> two, vec<T, 3> three, vec<T, 4> four) {
    two = two.yx + two.xy + two.xx + three.xy + three.yz + three.xz + four.xy + four.zw;
    three = four.xyz + four.rgb + three.zyx;
    four.rgb = four.rgb * four.a;
    four.xyz = three;
    four.a *= four.r + four.g + four.b + four.a;
    three.xy = two;
    three.yz = two;
    three.xz = two;
    four.xy = two;
}
template <class T>
inline void instantiateFloats() {
    instantiateArithmetic(vec<T, 2>(T(0)));
    instantiateArithmetic(vec<T, 3>(T(0)));
    instantiateArithmetic(vec<T, 4>(T(0)));
    instantiateSwizzles<T>(T(0), T(0), T(0));
}

template <class T>
inline void instantiateTextures(const metal::texture2d<T>& sampled,
                                const metal::texture2d<T, metal::access::read>& read,
                                const metal::texture2d<T, metal::access::write>& written,
                                const metal::sampler& s) {
    vec<T, 4> color = sampled.sample(s, float2(0));
    color = sampled.sample(s, float2(0), metal::level(0));
    color = sampled.read(uint2(0));
    color = read.read(uint2(0));
    written.write(color, uint2(0));
    (void)uint2(sampled.get_width(), sampled.get_height());
}
inline void instantiateSamplers() {
    using namespace metal;
    constexpr sampler plain;
    constexpr sampler mipmapped(filter::linear, mip_filter::linear, address::clamp_to_zero);
    constexpr sampler linear(filter::linear);
    constexpr sampler linearFirst(filter::linear, address::repeat);
    constexpr sampler addressFirst(address::repeat, filter::linear);
    constexpr sampler pixels(coord::pixel, address::clamp_to_edge, filter::linear);
    constexpr sampler separate(mag_filter::linear, min_filter::linear);
}

inline void instantiate() {
    instantiateVectors(0.0f);
    instantiateVectors(0);
    instantiateVectors(0u);
    instantiateVectors(half(0));
    instantiateVectors(uchar(0));
    instantiateVectors(char(0));
    instantiateVectors(ushort(0));
    instantiateVectors(short(0));
    instantiateVectors(false);
    instantiateConversion(0.0f, 0);
    instantiateConversion(0.0f, 0u);
    instantiateConversion(0.0f, half(0));
    instantiateConversion(half(0), 0.0f);
    instantiateConversion(0, 0.0f);
    instantiateConversion(0u, 0.0f);
    instantiateConversion(0, 0u);
    instantiateConversion(0u, 0);
    instantiateFloats<float>();
    instantiateFloats<half>();
    instantiateSamplers();
    instantiateTextures<float>({}, {}, {}, {});
    instantiateTextures<half>({}, {}, {}, {});
}

} // namespace __sl42
