// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Functions of the language's library that random programs call, each with what it should return,
// written independently of the library's own text.
#pragma once

#include "bench/fuzz/Program.h"

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <string_view>

namespace fuzz {

__extension__ typedef __int128 Wide;

/// The value as a variable of the type holds it; bits beyond the type's width are dropped.
/// Unsigned 64-bit numbers are held as the signed number with the same bits.
std::int64_t wrapped(Scalar type, Wide value);
/// The number itself.
Wide wide(Scalar type, std::int64_t value);
/// The nearest value of the type.
std::int64_t saturated(Scalar type, Wide value);
/// How the language converts: towards zero, and to the nearest value of the type.
std::int64_t converted(Scalar type, double value);

/// What a function works on: its operands, the type's width in bits and whether it has a sign.
struct Operands {
    Wide a, b, c, d;
    Scalar type;
    unsigned bits() const { return 8 * bytesOf(type); }
    Wide pattern() const { return a & ((Wide(1) << bits()) - 1); } ///< a as an unsigned number
};

struct IntegerFunction {
    const char* name;
    unsigned arity;  ///< all operands have the result's type, but the last `counts` are uint
    unsigned counts; ///< scalars also for vectors
    unsigned minBytes, maxBytes;
    Wide (*evaluate)(const Operands&);
};

struct ExactFunction {
    const char* name;
    unsigned arity;
    double (*evaluate)(const double* x);
    Range (*range)(const Range* x);
};

/// Operands for which a function is continuous and tame.
enum class Domain : std::uint8_t { Any, Positive, Small, Unit };

struct RoughFunction {
    const char* name;
    unsigned arity;
    std::array<Domain, 3> domains;
    double (*evaluate)(const double* x);
    double wave = std::numeric_limits<double>::max(); ///< see roughCell()
};

using Lanes = std::array<double, 4>;

struct GeometryFunction {
    const char* name;
    unsigned arity;
    bool isVector;  ///< the result has as many lanes as the operands
    unsigned lanes; ///< that operands must have; 0 for any
    Lanes (*evaluate)(const Lanes* v, unsigned lanes);
};

std::span<const IntegerFunction> integerFunctions();
std::span<const ExactFunction> exactFunctions();
std::span<const RoughFunction> roughFunctions();
std::span<const GeometryFunction> geometryFunctions();

/// The place of a function in one of them.
template <class Functions>
unsigned numberOf(const Functions& functions, std::string_view name) {
    const auto found = std::ranges::find(functions, name, [](const auto& f) { return f.name; });
    return static_cast<unsigned>(found - functions.begin());
}

} // namespace fuzz
