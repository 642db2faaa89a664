// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Defines SL42_SWIZZLES(N) for vectors of N lanes: every selection of one to four of their
// lanes under both spellings (xyzw, rgba), as properties with a function that reads and, where no
// lane repeats, one that writes.
#pragma once
#pragma clang system_header

// Each lane of N with its other spelling; one copy of the loop for each level of nesting.
#define SL42_LANES1_2(m, ...) m(x, r, __VA_ARGS__) m(y, g, __VA_ARGS__)
#define SL42_LANES1_3(m, ...) SL42_LANES1_2(m, __VA_ARGS__) m(z, b, __VA_ARGS__)
#define SL42_LANES1_4(m, ...) SL42_LANES1_3(m, __VA_ARGS__) m(w, a, __VA_ARGS__)
#define SL42_LANES2_2(m, ...) m(x, r, __VA_ARGS__) m(y, g, __VA_ARGS__)
#define SL42_LANES2_3(m, ...) SL42_LANES2_2(m, __VA_ARGS__) m(z, b, __VA_ARGS__)
#define SL42_LANES2_4(m, ...) SL42_LANES2_3(m, __VA_ARGS__) m(w, a, __VA_ARGS__)
#define SL42_LANES3_2(m, ...) m(x, r, __VA_ARGS__) m(y, g, __VA_ARGS__)
#define SL42_LANES3_3(m, ...) SL42_LANES3_2(m, __VA_ARGS__) m(z, b, __VA_ARGS__)
#define SL42_LANES3_4(m, ...) SL42_LANES3_3(m, __VA_ARGS__) m(w, a, __VA_ARGS__)
#define SL42_LANES4_2(m, ...) m(x, r, __VA_ARGS__) m(y, g, __VA_ARGS__)
#define SL42_LANES4_3(m, ...) SL42_LANES4_2(m, __VA_ARGS__) m(z, b, __VA_ARGS__)
#define SL42_LANES4_4(m, ...) SL42_LANES4_3(m, __VA_ARGS__) m(w, a, __VA_ARGS__)

// SL42_ACCESS(SL42_SAME_ab SL42_SAME_ac ...) is READ when two of the lanes are the same, else
// WRITE: a pair of equal lanes adds a comma, which makes READ the argument that is picked.
#define SL42_SAME_xx ,
#define SL42_SAME_yy ,
#define SL42_SAME_zz ,
#define SL42_SAME_ww ,
#define SL42_PICK(_1, _2, _3, _4, _5, _6, _7, picked, ...) picked
#define SL42_ACCESS(...) SL42_PICK(__VA_ARGS__, READ, READ, READ, READ, READ, READ, WRITE, )

#define SL42_PASTE(a, b) a##b
#define SL42_PROPERTY(access, ...) SL42_PASTE(SL42_PROPERTY_, access)(__VA_ARGS__)

#define SL42_PROPERTY_READ(N, name, other, value, store)                                           \
    constexpr vec<T, N> get_##name() const {                                                       \
        return vec<T, N> value;                                                                    \
    }                                                                                              \
    __declspec(property(get = get_##name)) vec<T, N> name, other;
#define SL42_PROPERTY_WRITE(N, name, other, value, store)                                          \
    constexpr vec<T, N> get_##name() const {                                                       \
        return vec<T, N> value;                                                                    \
    }                                                                                              \
    constexpr vec<T, N> put_##name(const vec<T, N>& v) {                                           \
        store;                                                                                     \
        return get_##name();                                                                       \
    }                                                                                              \
    __declspec(property(get = get_##name, put = put_##name)) vec<T, N> name, other;

#define SL42_SWIZZLE1(lane, other, ...)                                                            \
    constexpr T get_##other() const {                                                              \
        return lane;                                                                               \
    }                                                                                              \
    constexpr T put_##other(T v) {                                                                 \
        return lane = v;                                                                           \
    }                                                                                              \
    __declspec(property(get = get_##other, put = put_##other)) T other;

// `v` may be part of the vector that is written: copy before storing.
#define SL42_SWIZZLE2(q, rq, p, rp, ...)                                                           \
    SL42_PROPERTY(SL42_ACCESS(SL42_SAME_##p##q), 2, p##q, rp##rq, (p, q), const T v0 = v.x;        \
                  q = v.y; p = v0)

#define SL42_SWIZZLE3(s, rs, q, rq, p, rp, ...)                                                    \
    SL42_PROPERTY(SL42_ACCESS(SL42_SAME_##p##q SL42_SAME_##p##s SL42_SAME_##q##s), 3, p##q##s,     \
                  rp##rq##rs, (p, q, s), const T v0 = v.x;                                         \
                  const T v1 = v.y; s = v.z; q = v1; p = v0)

#define SL42_SWIZZLE4(t, rt, s, rs, q, rq, p, rp, ...)                                             \
    SL42_PROPERTY(SL42_ACCESS(SL42_SAME_##p##q SL42_SAME_##p##s SL42_SAME_##p##t SL42_SAME_##q##s  \
                                  SL42_SAME_##q##t SL42_SAME_##s##t),                              \
                  4, p##q##s##t, rp##rq##rs##rt, (p, q, s, t), const T v0 = v.x;                   \
                  const T v1 = v.y; const T v2 = v.z; t = v.w; s = v2; q = v1; p = v0)

#define SL42_PAIRS_OF(lane, other, N) SL42_LANES2_##N(SL42_SWIZZLE2, lane, other)
#define SL42_TRIPLES_INNER(lane, other, N, ...)                                                    \
    SL42_LANES3_##N(SL42_SWIZZLE3, lane, other, __VA_ARGS__)
#define SL42_TRIPLES_OF(lane, other, N) SL42_LANES2_##N(SL42_TRIPLES_INNER, N, lane, other)
#define SL42_QUADS_INMOST(lane, other, N, ...)                                                     \
    SL42_LANES4_##N(SL42_SWIZZLE4, lane, other, __VA_ARGS__)
#define SL42_QUADS_INNER(lane, other, N, ...)                                                      \
    SL42_LANES3_##N(SL42_QUADS_INMOST, N, lane, other, __VA_ARGS__)
#define SL42_QUADS_OF(lane, other, N) SL42_LANES2_##N(SL42_QUADS_INNER, N, lane, other)

#define SL42_SWIZZLES(N)                                                                           \
    SL42_LANES1_##N(SL42_SWIZZLE1, N) SL42_LANES1_##N(SL42_PAIRS_OF, N)                            \
        SL42_LANES1_##N(SL42_TRIPLES_OF, N) SL42_LANES1_##N(SL42_QUADS_OF, N)
