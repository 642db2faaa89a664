// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Vectors of two to four elements. Three elements take the room of four. The lanes are plain
// members, so that a vector falls apart into scalars wherever it is not in memory. Everything else
// that a vector can be asked for (`r`, `zyx`, ...) is a property (sl42_swizzles.h): reading one
// gives a value, not a proxy, so that swizzles can be arguments, operands and deduced types.
//
// Operators are friends, found through the types of their operands: scalars and brace lists convert
// to the vector type, vectors of other element types do not.
#pragma once
#pragma clang system_header

#include <metal_type_traits>
#include <sl42_scalar.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

template <class T, int N>
struct vec;
struct bfloat; // metal_bfloat
namespace __sl42 {
template <class Vector>
struct packed;
}

#define SL42_TYPES(type)                                                                           \
    typedef vec<type, 2> type##2;                                                                  \
    typedef vec<type, 3> type##3;                                                                  \
    typedef vec<type, 4> type##4;
SL42_FOR_TYPES(SL42_TYPES)
#undef SL42_TYPES

// Diagnostics spell the types as programs do.
#define SL42_NAMES(type) preferred_name(type##2), preferred_name(type##3), preferred_name(type##4),
template <class T, int N>
struct __attribute__((SL42_FOR_TYPES(SL42_NAMES))) vec;
#undef SL42_NAMES

// m(lane, ...) for each lane of a vector, separated by commas.
#define SL42_EACH_2(m, ...) m(x, __VA_ARGS__), m(y, __VA_ARGS__)
#define SL42_EACH_3(m, ...) SL42_EACH_2(m, __VA_ARGS__), m(z, __VA_ARGS__)
#define SL42_EACH_4(m, ...) SL42_EACH_3(m, __VA_ARGS__), m(w, __VA_ARGS__)

#define SL42_BOTH(lane, op) T(a.lane op b.lane)
#define SL42_BOTH_BOOL(lane, op) (a.lane op b.lane)
#define SL42_ONE(lane, op) T(op a.lane)
// Over-wide shifts use the low bits of the amount, as the language has it.
#define SL42_SHIFT(lane, op) T(a.lane op(b.lane& T(sizeof(T) * 8 - 1)))

#define SL42_BINARY(N, op, m)                                                                      \
    friend constexpr vec<T, N> operator op(const vec<T, N>& a, const vec<T, N>& b) {               \
        return vec<T, N>(SL42_EACH_##N(m, op));                                                    \
    }                                                                                              \
    friend constexpr vec<T, N>& operator op##=(vec<T, N>& a, const vec<T, N>& b) {                 \
        return a = a op b;                                                                         \
    }
#define SL42_COMPARE(N, op)                                                                        \
    friend constexpr mask<T, N> operator op(const vec<T, N>& a, const vec<T, N>& b) {              \
        return mask<T, N>(SL42_EACH_##N(SL42_BOTH_BOOL, op));                                      \
    }
#define SL42_PREFIX(N, op)                                                                         \
    friend constexpr vec<T, N> operator op(const vec<T, N>& a) {                                   \
        return vec<T, N>(SL42_EACH_##N(SL42_ONE, op));                                             \
    }
#define SL42_ONE_BOOL(lane, op) (op bool(a.lane))

// The operators of each kind of element.
#define SL42_BOOL_OPERATORS(N)                                                                     \
    SL42_BINARY(N, &, SL42_BOTH)                                                                   \
    SL42_BINARY(N, |, SL42_BOTH)                                                                   \
    SL42_BINARY(N, ^, SL42_BOTH)
#define SL42_FLOAT_OPERATORS(N)                                                                    \
    SL42_BINARY(N, +, SL42_BOTH)                                                                   \
    SL42_BINARY(N, -, SL42_BOTH)                                                                   \
    SL42_BINARY(N, *, SL42_BOTH)                                                                   \
    SL42_BINARY(N, /, SL42_BOTH)                                                                   \
    SL42_PREFIX(N, +)                                                                              \
    SL42_PREFIX(N, -)                                                                              \
    friend constexpr vec<T, N>& operator++(vec<T, N>& a) {                                         \
        return a += vec<T, N>(T(1));                                                               \
    }                                                                                              \
    friend constexpr vec<T, N>& operator--(vec<T, N>& a) {                                         \
        return a -= vec<T, N>(T(1));                                                               \
    }                                                                                              \
    friend constexpr vec<T, N> operator++(vec<T, N>& a, int) {                                     \
        vec<T, N> before = a;                                                                      \
        a += vec<T, N>(T(1));                                                                      \
        return before;                                                                             \
    }                                                                                              \
    friend constexpr vec<T, N> operator--(vec<T, N>& a, int) {                                     \
        vec<T, N> before = a;                                                                      \
        a -= vec<T, N>(T(1));                                                                      \
        return before;                                                                             \
    }
// Shifts by amounts of another integer type. Friends, not functions that every program sees: with
// such a function in sight, templates cannot assign to a selection of lanes this way.
#define SL42_SHIFT_BY_OTHER(N, op)                                                                 \
    template <class U, metal::enable_if_t<__is_integral(U) && !__is_same(T, U), int> = 0>          \
    friend constexpr vec<T, N> operator op(const vec<T, N>& a, const vec<U, N>& b) {               \
        return a op vec<T, N>(b);                                                                  \
    }                                                                                              \
    template <class U, metal::enable_if_t<__is_integral(U) && !__is_same(T, U), int> = 0>          \
    friend constexpr vec<T, N>& operator op##=(vec<T, N>& a, const vec<U, N>& b) {                 \
        return a = a op vec<T, N>(b);                                                              \
    }
#define SL42_INTEGER_OPERATORS(N)                                                                  \
    SL42_BOOL_OPERATORS(N)                                                                         \
    SL42_FLOAT_OPERATORS(N)                                                                        \
    SL42_BINARY(N, %, SL42_BOTH)                                                                   \
    SL42_BINARY(N, <<, SL42_SHIFT)                                                                 \
    SL42_BINARY(N, >>, SL42_SHIFT)                                                                 \
    SL42_SHIFT_BY_OTHER(N, <<)                                                                     \
    SL42_SHIFT_BY_OTHER(N, >>)                                                                     \
    SL42_PREFIX(N, ~)
#define SL42_COMPARISONS(N)                                                                        \
    SL42_COMPARE(N, ==)                                                                            \
    SL42_COMPARE(N, !=)                                                                            \
    SL42_COMPARE(N, <)                                                                             \
    SL42_COMPARE(N, <=)                                                                            \
    SL42_COMPARE(N, >)                                                                             \
    SL42_COMPARE(N, >=)                                                                            \
    SL42_COMPARE(N, &&)                                                                            \
    SL42_COMPARE(N, ||)                                                                            \
    friend constexpr mask<T, N> operator!(const vec<T, N>& a) {                                    \
        return mask<T, N>(SL42_EACH_##N(SL42_ONE_BOOL, !));                                        \
    }

namespace __sl42 {

/// The type of a comparison; depends on T because bool vectors are not defined yet.
template <class T>
struct maskElement {
    using type = bool;
};
template <class T, int N>
using mask = vec<typename maskElement<T>::type, N>;

/// The operators of vec<T, N>; empty.
template <class T, int N>
struct vectorBase;

// Every element type has a namespace for its operators, so that operands lead to their own
// operators only; those of all other types would have to be read from the precompiled library.
#define SL42_OPERATORS(type, kind)                                                                 \
    namespace type##Operators {                                                                    \
        template <class T, int N>                                                                  \
        struct operators;                                                                          \
        template <class T>                                                                         \
        struct operators<T, 2> {                                                                   \
            SL42_##kind##_OPERATORS(2) SL42_COMPARISONS(2)                                         \
        };                                                                                         \
        template <class T>                                                                         \
        struct operators<T, 3> {                                                                   \
            SL42_##kind##_OPERATORS(3) SL42_COMPARISONS(3)                                         \
        };                                                                                         \
        template <class T>                                                                         \
        struct operators<T, 4> {                                                                   \
            SL42_##kind##_OPERATORS(4) SL42_COMPARISONS(4)                                         \
        };                                                                                         \
    }                                                                                              \
    template <int N>                                                                               \
    struct vectorBase<type, N> : type##Operators::operators<type, N> {};
#define SL42_OPERATORS_FLOAT(type) SL42_OPERATORS(type, FLOAT)
#define SL42_OPERATORS_INTEGER(type) SL42_OPERATORS(type, INTEGER)

SL42_OPERATORS(bool, BOOL)
SL42_FOR_INTEGERS(SL42_OPERATORS_INTEGER)
SL42_FOR_FLOATS(SL42_OPERATORS_FLOAT)
SL42_OPERATORS_FLOAT(bfloat)

} // namespace __sl42

#undef SL42_OPERATORS_FLOAT
#undef SL42_OPERATORS_INTEGER
#undef SL42_OPERATORS
#undef SL42_BOOL_OPERATORS
#undef SL42_FLOAT_OPERATORS
#undef SL42_INTEGER_OPERATORS
#undef SL42_COMPARISONS
#undef SL42_BINARY
#undef SL42_COMPARE
#undef SL42_PREFIX
#undef SL42_BOTH
#undef SL42_BOTH_BOOL
#undef SL42_ONE
#undef SL42_ONE_BOOL
#undef SL42_SHIFT
#undef SL42_SHIFT_BY_OTHER
#undef SL42_EACH_2
#undef SL42_EACH_3
#undef SL42_EACH_4

#include <sl42_swizzles.h>

// An index is taken modulo the room of the vector, so that a wrong one stays inside.
#define SL42_INDEX(room, ...)                                                                      \
    constexpr T& operator[](int i) {                                                               \
        return (&x)[i & (room - 1)];                                                               \
    }                                                                                              \
    constexpr const T& operator[](int i) const {                                                   \
        if (__builtin_is_constant_evaluated())                                                     \
            return __VA_ARGS__;                                                                    \
        return (&x)[i & (room - 1)];                                                               \
    }

template <class T>
struct alignas(2 * sizeof(T)) vec<T, 2> : __sl42::vectorBase<T, 2> {
    T x, y;

    vec() = default;
    constexpr vec(T s) : x(s), y(s) {}
    constexpr vec(T vx, T vy) : x(vx), y(vy) {}
    template <class U>
    constexpr explicit vec(const vec<U, 2>& v) : x(T(v.x)), y(T(v.y)) {}
    // The first elements of a longer one.
    template <class U>
    constexpr explicit vec(const vec<U, 3>& v) : x(T(v.x)), y(T(v.y)) {}
    template <class U>
    constexpr explicit vec(const vec<U, 4>& v) : x(T(v.x)), y(T(v.y)) {}
    template <class U>
    constexpr explicit vec(const __sl42::packed<vec<U, 2>>& v) : x(T(v.x)), y(T(v.y)) {}

    SL42_INDEX(2, i == 0 ? x : y)
    SL42_SWIZZLES(2)
};

template <class T>
struct alignas(4 * sizeof(T)) vec<T, 3> : __sl42::vectorBase<T, 3> {
    T x, y, z;

    vec() = default;
    constexpr vec(T s) : x(s), y(s), z(s) {}
    constexpr vec(T vx, T vy, T vz) : x(vx), y(vy), z(vz) {}
    constexpr vec(const vec<T, 2>& v, T vz) : x(v.x), y(v.y), z(vz) {}
    constexpr vec(T vx, const vec<T, 2>& v) : x(vx), y(v.x), z(v.y) {}
    template <class U>
    constexpr explicit vec(const vec<U, 3>& v) : x(T(v.x)), y(T(v.y)), z(T(v.z)) {}
    template <class U>
    constexpr explicit vec(const vec<U, 4>& v) : x(T(v.x)), y(T(v.y)), z(T(v.z)) {}
    template <class U>
    constexpr explicit vec(const __sl42::packed<vec<U, 3>>& v) : x(T(v.x)), y(T(v.y)), z(T(v.z)) {}

    SL42_INDEX(4, i == 0 ? x : i == 1 ? y : z)
    SL42_SWIZZLES(3)
};

template <class T>
struct alignas(4 * sizeof(T)) vec<T, 4> : __sl42::vectorBase<T, 4> {
    T x, y, z, w;

    vec() = default;
    constexpr vec(T s) : x(s), y(s), z(s), w(s) {}
    constexpr vec(T vx, T vy, T vz, T vw) : x(vx), y(vy), z(vz), w(vw) {}
    constexpr vec(const vec<T, 2>& v, T vz, T vw) : x(v.x), y(v.y), z(vz), w(vw) {}
    constexpr vec(T vx, const vec<T, 2>& v, T vw) : x(vx), y(v.x), z(v.y), w(vw) {}
    constexpr vec(T vx, T vy, const vec<T, 2>& v) : x(vx), y(vy), z(v.x), w(v.y) {}
    constexpr vec(const vec<T, 2>& u, const vec<T, 2>& v) : x(u.x), y(u.y), z(v.x), w(v.y) {}
    constexpr vec(const vec<T, 3>& v, T vw) : x(v.x), y(v.y), z(v.z), w(vw) {}
    constexpr vec(T vx, const vec<T, 3>& v) : x(vx), y(v.x), z(v.y), w(v.z) {}
    // Too few elements: not the scalar widened to two.
    vec(const vec<T, 2>&, T) = delete;
    vec(T, const vec<T, 2>&) = delete;
    template <class U>
    constexpr explicit vec(const vec<U, 4>& v) : x(T(v.x)), y(T(v.y)), z(T(v.z)), w(T(v.w)) {}
    template <class U>
    constexpr explicit vec(const __sl42::packed<vec<U, 4>>& v)
        : x(T(v.x)), y(T(v.y)), z(T(v.z)), w(T(v.w)) {}

    SL42_INDEX(4, i == 0 ? x : i == 1 ? y : i == 2 ? z : w)
    SL42_SWIZZLES(4)
};

#undef SL42_INDEX

#pragma clang attribute pop
#pragma clang attribute pop

namespace metal {
using ::vec;
#define SL42_TYPES(type)                                                                           \
    using ::type##2;                                                                               \
    using ::type##3;                                                                               \
    using ::type##4;
SL42_FOR_TYPES(SL42_TYPES)
#undef SL42_TYPES
} // namespace metal
