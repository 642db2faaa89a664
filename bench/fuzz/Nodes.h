// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Nodes of expressions, as generators put them together.
#pragma once

#include "bench/fuzz/Program.h"

namespace fuzz {

Expr node(Op op, Type type, unsigned which, std::vector<Expr> args);
/// Constants.
Expr whole(Type type, std::int64_t value);
Expr number(Type type, double value);

/// Whether the type can hold all values of the range without rounding.
bool fits(Scalar type, Range range);
Range sumRange(const Range& a, const Range& b);
/// Brings an exact value within standardRange().
Expr normalised(Expr e);

} // namespace fuzz
