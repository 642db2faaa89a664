// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/AggregateExpressions.h"

#include "bench/fuzz/ExpressionGenerator.h"
#include "bench/fuzz/Nodes.h"

namespace fuzz {
namespace {

/// The parts of a larger value are made of nothing but leaves.
constexpr unsigned maxElaborateCells = 6;

} // namespace

Expr AggregateExpressions::value(Type type, unsigned depth) {
    if (!type.isCopyable())
        return make(type, depth);
    if (depth == 0 || m_random.percent(35))
        if (auto found = m_operands.place(type, depth, Use::Read))
            return *std::move(found);
    if (depth == 0)
        return make(type, 0);
    const unsigned below = depth - 1;
    const unsigned kind = m_random.below(10);
    if (kind < 2) {
        Expr condition = m_operands.value({Scalar::Bool}, below);
        return node(Op::Choose, type, 0,
                    {std::move(condition), value(type, below), value(type, below)});
    }
    if (kind < 5)
        if (auto made = m_operands.call(type, below))
            return *std::move(made);
    return type.isMatrix() && m_random.percent(70) ? matrix(type, below) : make(type, below);
}

Expr AggregateExpressions::make(Type type, unsigned depth) {
    Expr e = node(Op::Make, type, 0, {});
    if (m_program.cellsOf(type) > maxElaborateCells)
        depth = 0;
    const auto add = [&](Type part, unsigned count) {
        for (unsigned i = 0; i < count; ++i)
            e.args.push_back(m_operands.value(part, depth));
    };
    const unsigned kind = m_random.below(5);
    if (type.isStructure())
        for (const Type& field : m_program.fields(type))
            add(field, 1);
    else if (type.isMatrix() && kind < 3)
        add(type.withLanes(1), kind == 0 ? 1 : type.columns * unsigned{type.lanes});
    else
        add(type.element(), type.count());
    return e;
}

/// Exact values must not grow, and so are only moved.
Expr AggregateExpressions::matrix(Type type, unsigned depth) {
    const Type number = type.withLanes(1);
    const Type transposed = type.matrixOf(type.lanes, type.columns);
    const unsigned kind = m_random.below(10);
    if (kind < 2 || type.isExact())
        return node(Op::Transpose, type, 0, {value(transposed, depth)});
    if (kind < 4)
        return node(Op::Binary, type, m_random.below(2), {value(type, depth), value(type, depth)});
    if (kind < 5)
        return node(Op::Binary, type, Multiply,
                    {value(type, depth), m_operands.value(number, depth)});
    if (kind < 6)
        return node(Op::Binary, type, Multiply,
                    {m_operands.value(number, depth), value(type, depth)});
    if (kind < 7) {
        Type other = type;
        other.scalar = type.scalar == Scalar::Half ? Scalar::Float : Scalar::Half;
        return node(Op::Convert, type, 0, {value(other, depth)});
    }
    const unsigned inner = m_random.between(2, 4);
    return node(Op::Binary, type, Multiply,
                {value(type.matrixOf(inner, type.lanes), depth),
                 value(type.matrixOf(type.columns, inner), depth)});
}

std::optional<Expr> AggregateExpressions::product(Type type, unsigned depth) {
    const unsigned inner = m_random.between(2, 4);
    if (type.lanes == 1) {
        if (!type.rough)
            return std::nullopt;
        return node(Op::Determinant, type, 0, {value(type.matrixOf(inner, inner), depth)});
    }
    Expr vector = m_operands.value(type.withLanes(inner), depth);
    const bool isFirst = m_random.percent(50);
    Expr e = isFirst ? node(Op::Binary, type, Multiply,
                            {std::move(vector), value(type.matrixOf(type.lanes, inner), depth)})
                     : node(Op::Binary, type, Multiply,
                            {value(type.matrixOf(inner, type.lanes), depth), std::move(vector)});
    const double bound = standardRange(type.scalar).bound;
    e.range = {inner * bound * bound, 0};
    return e;
}

Expr AggregateExpressions::comparison(unsigned depth) {
    Type type{m_random.percent(70) ? Scalar::Float : Scalar::Half};
    type = type.matrixOf(m_random.between(2, 4), m_random.between(2, 4));
    return node(Op::Compare, {Scalar::Bool}, m_random.below(2),
                {value(type, depth), value(type, depth)});
}

std::optional<Expr> AggregateExpressions::part(Type type, unsigned depth) {
    std::vector<Expr> found;
    for (std::size_t s = 0; s < m_program.structures.size(); ++s) {
        const auto& fields = m_program.structures[s].fields;
        for (unsigned i = 0; i < fields.size(); ++i)
            if (fields[i] == type) {
                found.push_back(node(Op::Field, type, i, {}));
                found.back().args.emplace_back().type.structure = static_cast<std::int8_t>(s);
            }
    }
    Expr e = node(Op::Element, type, 0, {});
    if (!found.empty() && m_random.percent(70)) {
        e = m_random.pick(found);
        e.args[0] = value(e.args[0].type, depth);
    } else {
        const unsigned count = m_random.between(2, 4);
        const bool isColumn = isFloating(type.scalar) && type.lanes > 1;
        const Type whole = isColumn         ? type.matrixOf(count, type.lanes)
                           : type.lanes > 1 ? type.arrayOf(count, true)
                                            : type.withLanes(count);
        e.args.push_back(m_operands.value(whole, depth));
        e.args.push_back(m_operands.index(count, depth));
    }
    e.range = standardRange(type.scalar);
    return e;
}

} // namespace fuzz
