// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the evaluator makes of matrices.
#pragma once

#include "bench/fuzz/Cells.h"

namespace fuzz {

/// With `scalar` on the diagonal, and zeros.
Value diagonal(Type type, const Cell& scalar);
Value transpose(Type from, const Value& v);
/// Exact matrices have no determinant here.
Cell determinant(Type type, const Value& v);
/// Sums and products of two operands of which one at least is a matrix.
Value matrixBinary(Type result, unsigned which, Type left, const Value& a, Type right,
                   const Value& b);

} // namespace fuzz
