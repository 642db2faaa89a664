// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The names under which headers shared with host code know the vector and matrix types.
#pragma once
#pragma clang system_header

#include <metal_matrix>

#define SL42_VECTOR(name, type)                                                                    \
    typedef type##2 vector_##name##2, simd_##name##2;                                              \
    typedef type##3 vector_##name##3, simd_##name##3;                                              \
    typedef type##4 vector_##name##4, simd_##name##4;                                              \
    namespace simd {                                                                               \
    using ::type##2;                                                                               \
    using ::type##3;                                                                               \
    using ::type##4;                                                                               \
    }
SL42_VECTOR(char, char)
SL42_VECTOR(uchar, uchar)
SL42_VECTOR(short, short)
SL42_VECTOR(ushort, ushort)
SL42_VECTOR(int, int)
SL42_VECTOR(uint, uint)
SL42_VECTOR(long, long)
SL42_VECTOR(ulong, ulong)
SL42_VECTOR(half, half)
SL42_VECTOR(float, float)
#undef SL42_VECTOR

#define SL42_MATRIX(type, C, R)                                                                    \
    typedef type##C##x##R matrix_##type##C##x##R, simd_##type##C##x##R;                            \
    namespace simd {                                                                               \
    using ::type##C##x##R;                                                                         \
    }
#define SL42_MATRICES(type)                                                                        \
    SL42_MATRIX(type, 2, 2)                                                                        \
    SL42_MATRIX(type, 2, 3)                                                                        \
    SL42_MATRIX(type, 2, 4)                                                                        \
    SL42_MATRIX(type, 3, 2)                                                                        \
    SL42_MATRIX(type, 3, 3)                                                                        \
    SL42_MATRIX(type, 3, 4)                                                                        \
    SL42_MATRIX(type, 4, 2)                                                                        \
    SL42_MATRIX(type, 4, 3)                                                                        \
    SL42_MATRIX(type, 4, 4)
SL42_MATRICES(float)
SL42_MATRICES(half)
#undef SL42_MATRIX
#undef SL42_MATRICES
