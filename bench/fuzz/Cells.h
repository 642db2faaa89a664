// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Values as the evaluator holds them, and what the language's operators make of them. Integers are
// exact; of rough numbers there is a bound of how far a correct compiler's result may be away.
#pragma once

#include "bench/fuzz/Program.h"

#include <functional>
#include <limits>

namespace fuzz {

/// One number of a value.
struct Cell {
    std::int64_t integer = 0; ///< of integers and bool
    double number = 0;        ///< of floating-point types
    double error = 0;         ///< of rough ones; infinite where nothing can be said
};

/// The numbers of a vector lane by lane, of a matrix column by column, of a structure field by
/// field.
using Value = std::vector<Cell>;

/// The result of a rough operation, whose operands are off by their errors. Nothing is known where
/// one is off by more than `wave`, because the operation turns in between. What is not known at all
/// may be no number either, which few operations bear.
Cell roughCell(Scalar type, const std::vector<Cell>& operands,
               const std::function<double(const double*)>& operation,
               double wave = std::numeric_limits<double>::max());

Cell convert(Type to, Type from, const Cell& c);
Value bits(Type to, Type from, const Value& v);
/// Operators by their place in Program.h; of matrices, see Matrices.h.
Cell binary(Type type, unsigned which, const Cell& a, const Cell& b);
Cell unary(Type type, unsigned which, const Value& v, unsigned lane);
bool compare(Type type, unsigned which, const Cell& a, const Cell& b);

} // namespace fuzz
