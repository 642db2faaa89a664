// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/FloatExpressions.h"

#include "bench/fuzz/ExpressionGenerator.h"
#include "bench/fuzz/Nodes.h"

#include <cmath>

namespace fuzz {

std::optional<Expr> FloatExpressions::exact(Type type, unsigned depth) {
    const unsigned kind = m_random.below(10);
    Expr e;
    if (m_rounds && type.scalar == Scalar::Float && m_random.percent(15)) {
        auto made = throughHalf(type, depth);
        if (!made)
            return std::nullopt;
        e = *std::move(made);
    } else if (m_random.percent(8)) {
        auto made = m_aggregates.product(type, depth);
        if (!made)
            return std::nullopt;
        e = *std::move(made);
    } else if (kind < 5) {
        const unsigned which = m_random.below(3);
        e = node(Op::Binary, type, which,
                 {m_operands.value(type, depth, false), m_operands.value(type, depth, false)});
        const Range& a = e.args[0].range;
        const Range& b = e.args[1].range;
        e.range =
            which == Multiply ? Range{a.bound * b.bound, a.granule + b.granule} : sumRange(a, b);
    } else if (kind < 8) {
        const unsigned which = m_random.below(exactFunctions().size());
        const ExactFunction& f = exactFunctions()[which];
        e = node(Op::Exact, type, which, {});
        std::vector<Range> ranges;
        for (unsigned i = 0; i < f.arity; ++i) {
            e.args.push_back(m_operands.value(type, depth, false));
            ranges.push_back(e.args.back().range);
        }
        e.range = f.range(ranges.data());
    } else if (kind < 9) { // by a power of two
        const int shift = static_cast<int>(m_random.between(1, 3));
        e = node(Op::Binary, type, Divide,
                 {m_operands.value(type, depth, false), number(type, std::ldexp(1, shift))});
        e.range = {e.args[0].range.bound / std::ldexp(1, shift), e.args[0].range.granule - shift};
    } else {
        return std::nullopt;
    }
    return fits(type.scalar, e.range) ? std::optional(std::move(e)) : std::nullopt;
}

/// Rounded to the nearest half, of which the smallest and largest are left out.
std::optional<Expr> FloatExpressions::throughHalf(Type type, unsigned depth) {
    Type half = type;
    half.scalar = Scalar::Half;
    Type from = type;
    if (m_random.percent(30))
        from.scalar = Scalar::Short;
    Expr e = m_operands.value(from, depth, false);
    const Range range = from == type ? e.range : Range{32768, 0};
    if (range.bound > 32768 || range.granule < -10)
        return std::nullopt;
    e = node(Op::Convert, type, 0, {node(Op::Convert, half, 0, {std::move(e)})});
    e.range = {range.bound * 1.0005, range.granule};
    return e;
}

std::optional<Expr> FloatExpressions::rough(Type type, unsigned depth) {
    if (m_random.percent(8))
        return m_aggregates.product(type, depth);
    const unsigned kind = m_random.below(18);
    if (kind < 7 || (type.scalar == Scalar::Half && kind < 12)) {
        const unsigned which = m_random.below(4);
        Expr a = m_operands.value(type, depth);
        Expr b =
            which == Divide ? tamed(type, Domain::Positive, depth) : m_operands.value(type, depth);
        return node(Op::Binary, type, which, {std::move(a), std::move(b)});
    }
    if (kind < 8)
        return node(Op::Unary, type, Negate, {m_operands.value(type, depth)});
    if (kind < 11)
        return geometry(type, depth);
    if (kind > 16)
        return std::nullopt;
    const unsigned which = m_random.below(roughFunctions().size());
    const RoughFunction& f = roughFunctions()[which];
    Expr e = node(Op::Rough, type, which, {});
    for (unsigned i = 0; i < f.arity; ++i)
        e.args.push_back(tamed(type, f.domains[i], depth));
    return e;
}

std::optional<Expr> FloatExpressions::geometry(Type type, unsigned depth) {
    const unsigned which = m_random.below(geometryFunctions().size());
    const GeometryFunction& f = geometryFunctions()[which];
    if (f.isVector ? type.lanes == 1 || (f.lanes != 0 && type.lanes != f.lanes) : type.lanes != 1)
        return std::nullopt;
    const Type operand = f.isVector ? type : type.withLanes(m_random.between(2, 4));
    Expr e = node(Op::Geometry, type, which, {});
    for (unsigned i = 0; i < f.arity; ++i)
        e.args.push_back(m_operands.value(operand, depth));
    return e;
}

Expr FloatExpressions::tamed(Type type, Domain domain, unsigned depth) {
    Expr e = m_operands.value(type, depth);
    switch (domain) {
    case Domain::Any:
        return e;
    case Domain::Positive:
        return node(Op::Binary, type, Add,
                    {node(Op::Rough, type, numberOf(roughFunctions(), "abs"), {std::move(e)}),
                     number(type, 0.25)});
    case Domain::Small:
        return node(Op::Rough, type, numberOf(roughFunctions(), "clamp"),
                    {std::move(e), number(type, -4), number(type, 4)});
    case Domain::Unit:
        return node(Op::Rough, type, numberOf(roughFunctions(), "clamp"),
                    {std::move(e), number(type, -0.875), number(type, 0.875)});
    }
    return e;
}

} // namespace fuzz
