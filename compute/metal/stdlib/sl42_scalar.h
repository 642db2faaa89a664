// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The scalar types and the literals of `half`.
#pragma once
#pragma clang system_header

typedef _Float16 half;
typedef unsigned char uchar;
typedef unsigned short ushort;
typedef unsigned int uint;
typedef unsigned long ulong;

typedef signed char int8_t;
typedef short int16_t;
typedef int int32_t;
typedef long int64_t;
typedef unsigned char uint8_t;
typedef unsigned short uint16_t;
typedef unsigned int uint32_t;
typedef unsigned long uint64_t;
typedef unsigned long size_t;
typedef long ptrdiff_t;
typedef long intptr_t;
typedef unsigned long uintptr_t;

constexpr half operator""h(long double value) {
    return half(value);
}
constexpr half operator""h(unsigned long long value) {
    return half(value);
}
constexpr half operator"" H(long double value) {
    return half(value);
}
constexpr half operator"" H(unsigned long long value) {
    return half(value);
}

namespace metal {

using ::half;
using ::int16_t;
using ::int32_t;
using ::int64_t;
using ::int8_t;
using ::ptrdiff_t;
using ::size_t;
using ::uchar;
using ::uint;
using ::uint16_t;
using ::uint32_t;
using ::uint64_t;
using ::uint8_t;
using ::ulong;
using ::ushort;

} // namespace metal

// m(T) for each element type of a family.
#define SL42_FOR_FLOATS(m) m(half) m(float)
#define SL42_FOR_INTEGERS(m) m(char) m(uchar) m(short) m(ushort) m(int) m(uint) m(long) m(ulong)
#define SL42_FOR_NUMBERS(m) SL42_FOR_INTEGERS(m) SL42_FOR_FLOATS(m)
#define SL42_FOR_TYPES(m) m(bool) SL42_FOR_NUMBERS(m)
