// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Random operations on floating-point values.
#pragma once

#include "bench/fuzz/Library.h"
#include "bench/fuzz/Random.h"

#include <optional>

namespace fuzz {

class AggregateExpressions;
class ExpressionGenerator;

class FloatExpressions {
public:
    /// All must outlive this.
    FloatExpressions(Random& random, ExpressionGenerator& operands,
                     AggregateExpressions& aggregates, bool rounds)
        : m_random(random), m_operands(operands), m_aggregates(aggregates), m_rounds(rounds) {}

    /// Nothing where the operation that comes up does not exist for the type or has results that it
    /// cannot hold.
    std::optional<Expr> exact(Type type, unsigned depth);
    std::optional<Expr> rough(Type type, unsigned depth);

private:
    std::optional<Expr> throughHalf(Type type, unsigned depth);
    std::optional<Expr> geometry(Type type, unsigned depth);
    /// A rough value within the domain.
    Expr tamed(Type type, Domain domain, unsigned depth);

    Random& m_random;
    ExpressionGenerator& m_operands;
    AggregateExpressions& m_aggregates;
    bool m_rounds;
};

} // namespace fuzz
