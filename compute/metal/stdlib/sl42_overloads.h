// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Macros that turn a function on scalars into the whole set of overloads the language has: one
// plain overload for each vector type, so that swizzles, scalars and brace lists convert as
// arguments, and for mixed scalar arguments (`max(h, 0.0)`, `pow(2, x)`) one template that picks
// their common type, which would otherwise be ambiguous. All of them are used inside a namespace of
// the library.
#pragma once
#pragma clang system_header

#include <sl42_vector.h>

namespace __sl42 {

template <bool b>
using require = metal::enable_if_t<b, int>;

template <class... T>
inline constexpr bool arithmetic = (__is_arithmetic(T) && ...);
/// All of one floating type: such calls have an overload of their own.
template <class A, class... T>
inline constexpr bool sameFloat = __is_floating_point(A) && (__is_same(A, T) && ...);
template <class... T>
inline constexpr bool anyIsHalf = (__is_same(T, half) || ...);
template <class... T>
inline constexpr bool anyIsFloat = (__is_same(T, float) || ...);

/// The type in which a function on floating-point numbers works for mixed arguments.
template <class... T>
using floatType = metal::conditional_t<anyIsHalf<T...> && !anyIsFloat<T...>, half, float>;
/// The type in which a function on any numbers works: that of the sum of the arguments.
template <class... T>
using sumType = decltype((T() + ...));

} // namespace __sl42

// Vector overloads of `name` from R name(T...) on each lane.
#define SL42_VECTORS_1(name, R, T)                                                                 \
    constexpr R##2 name(const T##2 & a) {                                                          \
        return R##2(name(a.x), name(a.y));                                                         \
    }                                                                                              \
    constexpr R##3 name(const T##3 & a) {                                                          \
        return R##3(name(a.x), name(a.y), name(a.z));                                              \
    }                                                                                              \
    constexpr R##4 name(const T##4 & a) {                                                          \
        return R##4(name(a.x), name(a.y), name(a.z), name(a.w));                                   \
    }
#define SL42_VECTORS_2(name, R, T, U)                                                              \
    constexpr R##2 name(const T##2 & a, const U##2 & b) {                                          \
        return R##2(name(a.x, b.x), name(a.y, b.y));                                               \
    }                                                                                              \
    constexpr R##3 name(const T##3 & a, const U##3 & b) {                                          \
        return R##3(name(a.x, b.x), name(a.y, b.y), name(a.z, b.z));                               \
    }                                                                                              \
    constexpr R##4 name(const T##4 & a, const U##4 & b) {                                          \
        return R##4(name(a.x, b.x), name(a.y, b.y), name(a.z, b.z), name(a.w, b.w));               \
    }
#define SL42_VECTORS_3(name, R, T, U, V)                                                           \
    constexpr R##2 name(const T##2 & a, const U##2 & b, const V##2 & c) {                          \
        return R##2(name(a.x, b.x, c.x), name(a.y, b.y, c.y));                                     \
    }                                                                                              \
    constexpr R##3 name(const T##3 & a, const U##3 & b, const V##3 & c) {                          \
        return R##3(name(a.x, b.x, c.x), name(a.y, b.y, c.y), name(a.z, b.z, c.z));                \
    }                                                                                              \
    constexpr R##4 name(const T##4 & a, const U##4 & b, const V##4 & c) {                          \
        return R##4(name(a.x, b.x, c.x), name(a.y, b.y, c.y), name(a.z, b.z, c.z),                 \
                    name(a.w, b.w, c.w));                                                          \
    }

// Mixed scalars, computed in Common<A, B, ...>. Include the exact type unless it has an overload.
// The pack is always empty: it lets a program's own template of this name take precedence.
#define SL42_MIXED_1(name)                                                                         \
    template <class A, class... None,                                                              \
              __sl42::require<__is_integral(A) && sizeof...(None) == 0> = 0>                       \
    constexpr float name(A a, None...) {                                                           \
        return name(float(a));                                                                     \
    }
#define SL42_MIXED_2(name, Common)                                                                 \
    template <class A, class B,                                                                    \
              __sl42::require<__sl42::arithmetic<A, B> && !__sl42::sameFloat<A, B>> = 0>           \
    constexpr auto name(A a, B b) {                                                                \
        using C = Common<A, B>;                                                                    \
        return name(C(a), C(b));                                                                   \
    }
#define SL42_MIXED_3(name, Common)                                                                 \
    template <class A, class B, class C,                                                           \
              __sl42::require<__sl42::arithmetic<A, B, C> && !__sl42::sameFloat<A, B, C>> = 0>     \
    constexpr auto name(A a, B b, C c) {                                                           \
        using D = Common<A, B, C>;                                                                 \
        return name(D(a), D(b), D(c));                                                             \
    }

// Everything for a function that exists as float name(float, ...): half goes through float.
#define SL42_FLOATS_1(name)                                                                        \
    constexpr half name(half a) {                                                                  \
        return half(name(float(a)));                                                               \
    }                                                                                              \
    SL42_MIXED_1(name)                                                                             \
    SL42_VECTORS_1(name, half, half)                                                               \
    SL42_VECTORS_1(name, float, float)
#define SL42_FLOATS_2(name)                                                                        \
    constexpr half name(half a, half b) {                                                          \
        return half(name(float(a), float(b)));                                                     \
    }                                                                                              \
    SL42_MIXED_2(name, __sl42::floatType)                                                          \
    SL42_VECTORS_2(name, half, half, half)                                                         \
    SL42_VECTORS_2(name, float, float, float)
#define SL42_FLOATS_3(name)                                                                        \
    constexpr half name(half a, half b, half c) {                                                  \
        return half(name(float(a), float(b), float(c)));                                           \
    }                                                                                              \
    SL42_MIXED_3(name, __sl42::floatType)                                                          \
    SL42_VECTORS_3(name, half, half, half, half)                                                   \
    SL42_VECTORS_3(name, float, float, float, float)

namespace __sl42 {

template <class T>
inline constexpr bool isInteger = __is_integral(T) && !__is_same(T, bool);
template <class T>
inline constexpr int lanesOf = 0;
template <class T, int N>
inline constexpr int lanesOf<vec<T, N>> = N;
template <class T>
inline constexpr bool isIntegerVector = false;
template <class T, int N>
inline constexpr bool isIntegerVector<vec<T, N>> = isInteger<T>;

/// The first vector type among the arguments.
template <class A, class... Rest>
struct firstVector : firstVector<Rest...> {};
template <class T, int N, class... Rest>
struct firstVector<vec<T, N>, Rest...> {
    using type = vec<T, N>;
};
template <class... A>
using vectorOf = typename firstVector<A...>::type;

template <class V, class T, int N>
constexpr V vectorFrom(const T (&lanes)[N]) {
    if constexpr (N == 2)
        return V(lanes[0], lanes[1]);
    else if constexpr (N == 3)
        return V(lanes[0], lanes[1], lanes[2]);
    else
        return V(lanes[0], lanes[1], lanes[2], lanes[3]);
}

template <class V, class... A>
inline constexpr bool fits = ((__is_same(A, V) || __is_arithmetic(A)) && ...);
/// Arguments of a function on integer vectors: one such vector, and others like it or scalars.
template <bool any, class... A>
inline constexpr bool integerArguments = false;
template <class... A>
inline constexpr bool integerArguments<true, A...> = fits<vectorOf<A...>, A...>;
template <class... A>
inline constexpr bool integers = integerArguments<(isIntegerVector<A> || ...), A...>;

} // namespace __sl42

// Overloads on integer vectors of T name(T, ...). One template each and not one function for each
// of 24 types, which would make every program pay for types it never names. What they take is taken
// by value: a reference would make the address space of an argument a part of the type.
#define SL42_INTEGER_VECTORS_1(name)                                                               \
    template <class V, __sl42::require<__sl42::isIntegerVector<V>> = 0>                            \
    constexpr V name(V a) {                                                                        \
        if constexpr (__sl42::lanesOf<V> == 2)                                                     \
            return V(name(a.x), name(a.y));                                                        \
        else if constexpr (__sl42::lanesOf<V> == 3)                                                \
            return V(name(a.x), name(a.y), name(a.z));                                             \
        else                                                                                       \
            return V(name(a.x), name(a.y), name(a.z), name(a.w));                                  \
    }
#define SL42_INTEGER_VECTORS_2(name)                                                               \
    template <class A, class B, __sl42::require<__sl42::integers<A, B>> = 0>                       \
    constexpr auto name(A first, B second) {                                                       \
        using V = __sl42::vectorOf<A, B>;                                                          \
        const V a(first);                                                                          \
        const V b(second);                                                                         \
        using R = metal::vec<decltype(name(a.x, b.x)), __sl42::lanesOf<V>>;                        \
        if constexpr (__sl42::lanesOf<V> == 2)                                                     \
            return R(name(a.x, b.x), name(a.y, b.y));                                              \
        else if constexpr (__sl42::lanesOf<V> == 3)                                                \
            return R(name(a.x, b.x), name(a.y, b.y), name(a.z, b.z));                              \
        else                                                                                       \
            return R(name(a.x, b.x), name(a.y, b.y), name(a.z, b.z), name(a.w, b.w));              \
    }
#define SL42_INTEGER_VECTORS_3(name)                                                               \
    template <class A, class B, class C, __sl42::require<__sl42::integers<A, B, C>> = 0>           \
    constexpr auto name(A first, B second, C third) {                                              \
        using V = __sl42::vectorOf<A, B, C>;                                                       \
        const V a(first);                                                                          \
        const V b(second);                                                                         \
        const V c(third);                                                                          \
        if constexpr (__sl42::lanesOf<V> == 2)                                                     \
            return V(name(a.x, b.x, c.x), name(a.y, b.y, c.y));                                    \
        else if constexpr (__sl42::lanesOf<V> == 3)                                                \
            return V(name(a.x, b.x, c.x), name(a.y, b.y, c.y), name(a.z, b.z, c.z));               \
        else                                                                                       \
            return V(name(a.x, b.x, c.x), name(a.y, b.y, c.y), name(a.z, b.z, c.z),                \
                     name(a.w, b.w, c.w));                                                         \
    }
