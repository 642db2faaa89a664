// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Random values of matrices, structures and arrays, and what is computed from them.
#pragma once

#include "bench/fuzz/Random.h"
#include "bench/fuzz/TypeGenerator.h"

#include <optional>

namespace fuzz {

class ExpressionGenerator;

class AggregateExpressions {
public:
    /// All must outlive this.
    AggregateExpressions(Random& random, const Program& program, ExpressionGenerator& operands)
        : m_random(random), m_program(program), m_operands(operands) {}

    /// Of a type that does not consist of numbers only, as an expression or, for a T[N], as part of
    /// one.
    Expr value(Type type, unsigned depth);
    /// Numbers from a product or a determinant; nothing where there is none such.
    std::optional<Expr> product(Type type, unsigned depth);
    Expr comparison(unsigned depth);
    /// Numbers that are part of a larger value.
    std::optional<Expr> part(Type type, unsigned depth);

private:
    Expr make(Type type, unsigned depth);
    Expr matrix(Type type, unsigned depth);

    Random& m_random;
    const Program& m_program;
    ExpressionGenerator& m_operands;
};

} // namespace fuzz
