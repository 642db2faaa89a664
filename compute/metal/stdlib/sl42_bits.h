// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reinterpreting the bits of a value.
#pragma once
#pragma clang system_header

#include <sl42_vector.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

/// The same bits as another type of the same size.
template <class To, class From, metal::enable_if_t<sizeof(To) == sizeof(From), int> = 0>
constexpr To as_type(const From& value) {
    return __builtin_bit_cast(To, value);
}

namespace metal {
using ::as_type;
}

namespace __sl42 {

constexpr uint bitsOf(float x) {
    return __builtin_bit_cast(uint, x);
}
constexpr ushort bitsOf(half x) {
    return __builtin_bit_cast(ushort, x);
}
constexpr float floatOf(uint bits) {
    return __builtin_bit_cast(float, bits);
}

} // namespace __sl42

#pragma clang attribute pop
#pragma clang attribute pop
