// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Packed vectors: no padding, aligned like their elements. They convert to and from vectors, whose
// operators and functions they take part in.
#pragma once
#pragma clang system_header

#include <sl42_vector.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

namespace __sl42 {

// The vector type is the template's argument so that its operators are found for packed operands.
#define SL42_PACKED_MEMBERS(N, value)                                                              \
    packed() = default;                                                                            \
    constexpr operator vec<T, N>() const {                                                         \
        return vec<T, N> value;                                                                    \
    }                                                                                              \
    constexpr T& operator[](int i) {                                                               \
        return (&x)[uint(i) < N ? i : N - 1];                                                      \
    }                                                                                              \
    constexpr const T& operator[](int i) const {                                                   \
        return (&x)[uint(i) < N ? i : N - 1];                                                      \
    }                                                                                              \
    constexpr packed& operator+=(const vec<T, N>& b) {                                             \
        return *this = vec<T, N>(*this) + b;                                                       \
    }                                                                                              \
    constexpr packed& operator-=(const vec<T, N>& b) {                                             \
        return *this = vec<T, N>(*this) - b;                                                       \
    }                                                                                              \
    constexpr packed& operator*=(const vec<T, N>& b) {                                             \
        return *this = vec<T, N>(*this) * b;                                                       \
    }                                                                                              \
    constexpr packed& operator/=(const vec<T, N>& b) {                                             \
        return *this = vec<T, N>(*this) / b;                                                       \
    }

template <class T>
struct packed<vec<T, 2>> {
    T x, y;

    constexpr packed(T s) : x(s), y(s) {}
    constexpr packed(T vx, T vy) : x(vx), y(vy) {}
    constexpr packed(const vec<T, 2>& v) : x(v.x), y(v.y) {}
    template <class U>
    constexpr explicit packed(const vec<U, 2>& v) : x(T(v.x)), y(T(v.y)) {}
    SL42_PACKED_MEMBERS(2, (x, y))
    SL42_SWIZZLES(2)
};

template <class T>
struct packed<vec<T, 3>> {
    T x, y, z;

    constexpr packed(T s) : x(s), y(s), z(s) {}
    constexpr packed(T vx, T vy, T vz) : x(vx), y(vy), z(vz) {}
    constexpr packed(const vec<T, 2>& v, T vz) : x(v.x), y(v.y), z(vz) {}
    constexpr packed(const vec<T, 3>& v) : x(v.x), y(v.y), z(v.z) {}
    template <class U>
    constexpr explicit packed(const vec<U, 3>& v) : x(T(v.x)), y(T(v.y)), z(T(v.z)) {}
    SL42_PACKED_MEMBERS(3, (x, y, z))
    SL42_SWIZZLES(3)
};

template <class T>
struct packed<vec<T, 4>> {
    T x, y, z, w;

    constexpr packed(T s) : x(s), y(s), z(s), w(s) {}
    constexpr packed(T vx, T vy, T vz, T vw) : x(vx), y(vy), z(vz), w(vw) {}
    constexpr packed(const vec<T, 3>& v, T vw) : x(v.x), y(v.y), z(v.z), w(vw) {}
    constexpr packed(const vec<T, 4>& v) : x(v.x), y(v.y), z(v.z), w(v.w) {}
    template <class U>
    constexpr explicit packed(const vec<U, 4>& v) : x(T(v.x)), y(T(v.y)), z(T(v.z)), w(T(v.w)) {}
    SL42_PACKED_MEMBERS(4, (x, y, z, w))
    SL42_SWIZZLES(4)
};

#undef SL42_PACKED_MEMBERS

} // namespace __sl42

#pragma clang attribute pop
#pragma clang attribute pop

template <class T, int N>
using packed_vec = __sl42::packed<vec<T, N>>;
#define SL42_TYPES(type)                                                                           \
    typedef __sl42::packed<vec<type, 2>> packed_##type##2;                                         \
    typedef __sl42::packed<vec<type, 3>> packed_##type##3;                                         \
    typedef __sl42::packed<vec<type, 4>> packed_##type##4;
SL42_FOR_NUMBERS(SL42_TYPES)
#undef SL42_TYPES

namespace metal {
using ::packed_vec;
#define SL42_TYPES(type)                                                                           \
    using ::packed_##type##2;                                                                      \
    using ::packed_##type##3;                                                                      \
    using ::packed_##type##4;
SL42_FOR_NUMBERS(SL42_TYPES)
#undef SL42_TYPES
} // namespace metal
