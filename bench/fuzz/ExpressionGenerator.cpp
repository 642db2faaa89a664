// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/ExpressionGenerator.h"

#include "bench/fuzz/Nodes.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace fuzz {
namespace {

bool isPow2(unsigned n) {
    return (n & (n - 1)) == 0;
}

} // namespace

Expr ExpressionGenerator::literal(Type type) {
    if (type.rough)
        return number(type, m_random.below(200) * 0.125 - 12); // exact in half as well
    if (type.isExact())
        return number(type, static_cast<int>(m_random.below(33)) - 16);
    Expr e = node(Op::Literal, type, 0, {});
    if (type.scalar == Scalar::Bool) {
        e.integer = m_random.below(2);
        return e;
    }
    const Wide bit = Wide(1) << m_random.below(std::size_t{8} * bytesOf(type.scalar));
    const Wide choices[] = {0,
                            1,
                            -1,
                            Wide(m_random.below(20)),
                            -Wide(m_random.below(20)),
                            bit,
                            bit - 1,
                            Wide(m_random.next())};
    e.integer = wrapped(type.scalar, m_random.pick(choices));
    return e;
}

std::optional<Expr> ExpressionGenerator::counter() {
    std::optional<Expr> found;
    for (unsigned i = 0; i < m_function.variables.size(); ++i)
        if (m_function.variables[i].form == Form::Counter && (!found || m_random.percent(70))) {
            found = node(Op::Place, m_function.variables[i].type, i, {});
            found->range = standardRange(found->type.scalar);
        }
    return found;
}

std::optional<Expr> ExpressionGenerator::fromCounter(Type type) {
    auto found = counter();
    if (!found || found->type == type || type == Type{Scalar::Half})
        return found && found->type == type ? found : std::nullopt;
    if (type.scalar == Scalar::Bool)
        return node(Op::Compare, type, m_random.below(std::size(compareOperators)),
                    {*found, found->type.isExact() ? number(found->type, m_random.below(5))
                                                   : whole(found->type, m_random.below(5))});
    if (type.rough && found->type != Type{Scalar::Float})
        found = node(Op::Convert, {Scalar::Float}, 0, {*std::move(found)});
    Expr e = node(Op::Convert, type, 0, {*std::move(found)});
    e.range = standardRange(type.scalar);
    return e;
}

std::vector<unsigned> ExpressionGenerator::someLanes(unsigned of, unsigned count, bool distinct) {
    std::vector<unsigned> lanes(count);
    if (!distinct) {
        for (unsigned& lane : lanes)
            lane = m_random.below(of);
        return lanes;
    }
    std::vector<unsigned> all(of);
    std::iota(all.begin(), all.end(), 0u);
    for (unsigned i = 0; i < count; ++i) {
        std::swap(all[i], all[m_random.between(i, of - 1)]);
        lanes[i] = all[i];
    }
    return lanes;
}

/// A variable, as it stands: the index of an index would have no end.
Expr ExpressionGenerator::simpleIndex() {
    const Type type{Scalar::UInt};
    std::vector<Part> found = findParts(m_program, m_function, Use::Read, m_isUniform, [](Type t) {
        return t.isNumbers() && isInteger(t.scalar) && t.lanes == 1;
    });
    std::erase_if(found, [](const Part& part) { return !part.path.empty(); });
    if (found.empty() || (m_isKernel && m_random.percent(30)))
        return m_isKernel ? node(Op::Thread, type, m_isUniform ? 2 : m_random.below(2), {})
                          : literal(type);
    Expr e = place(m_random.pick(found), 0, Use::Read);
    return e.type == type ? e : node(Op::Convert, type, 0, {std::move(e)});
}

Expr ExpressionGenerator::index(unsigned count, unsigned depth, bool mayLeave) {
    const Type type{Scalar::UInt};
    if (m_random.percent(25))
        return whole(type, m_random.below(mayLeave ? count + count / 2 + 1 : count));
    if (mayLeave && m_isKernel && !m_isUniform && m_random.percent(15))
        return m_inputs.at(0);
    Expr any = depth > 0 ? value(type, depth) : simpleIndex();
    Expr limit = whole(type, isPow2(count) ? count - 1 : count);
    return node(Op::Binary, type, isPow2(count) ? And : Remainder,
                {std::move(any), std::move(limit)});
}

Expr ExpressionGenerator::regionIndex(unsigned bytes, unsigned depth) {
    if (bytes == 1 || !m_program.features.aligned)
        return index(regionBytes - bytes + 1, depth);
    const Type type{Scalar::UInt};
    return node(Op::Binary, type, Multiply,
                {index(regionBytes / bytes, depth), whole(type, bytes)});
}

Expr ExpressionGenerator::place(const Part& part, const std::function<Expr(Type)>& at) const {
    Expr e = node(Op::Place, m_function.variables[part.variable].type, part.variable, {});
    for (const int step : part.path) {
        const Type whole = e.type;
        if (step == anyElement) {
            Expr index = at(whole);
            e = node(Op::Element, whole.element(), 0, {std::move(e), std::move(index)});
        } else {
            const auto field = static_cast<unsigned>(step);
            e = node(Op::Field, m_program.fields(whole)[field], field, {std::move(e)});
        }
    }
    e.range = standardRange(e.type.scalar);
    return e;
}

Expr ExpressionGenerator::place(const Part& part, unsigned depth, Use use) {
    // Beyond its end, an array has its last element again.
    const bool mayLeave =
        m_function.variables[part.variable].form == Form::Plain && use != Use::Address;
    return place(part, [&](Type whole) { return index(whole.count(), depth, mayLeave); });
}

std::optional<Expr> ExpressionGenerator::place(Type type, unsigned depth, Use use) {
    if (use != Use::Address)
        type = type.unpacked();
    const auto accepts = [&](Type whole) {
        if (!type.isNumbers() || !whole.isNumbers() || use == Use::Address)
            return whole == type;
        // Several lanes of a packed vector cannot be assigned.
        const bool isEnough =
            whole.lanes == type.lanes ||
            (whole.lanes > type.lanes && (!whole.isPacked || type.lanes == 1 || use == Use::Read));
        return whole.scalar == type.scalar && whole.rough == type.rough && isEnough;
    };
    const auto found = findParts(m_program, m_function, use, m_isUniform, accepts);
    if (found.empty())
        return std::nullopt;
    const unsigned below = depth > 0 ? depth - 1 : 0;
    Expr e = place(m_random.pick(found), below, use);
    const bool isPacked = e.type.isPacked && e.type.isNumbers();
    const bool staysPacked = isPacked && use == Use::Assign;
    if (staysPacked && e.type.lanes == type.lanes)
        return e;
    const unsigned lanes = e.type.lanes;
    if (isPacked && use == Use::Read)
        e = node(Op::Convert, type.withLanes(lanes), 0, {std::move(e)});
    const bool isVector = type.isVector() && use != Use::Address;
    if (e.type != type && type.lanes == 1 && (staysPacked || m_random.percent(25))) {
        Expr lane = index(lanes, below, staysPacked || isPow2(lanes));
        e = node(Op::Element, type, 0, {std::move(e), std::move(lane)});
    } else if (e.type != type || (isVector && m_random.percent(20))) {
        e = node(Op::Swizzle, type, 0, {std::move(e)});
        e.lanes = someLanes(lanes, type.lanes, use == Use::Assign);
    }
    e.range = standardRange(type.scalar);
    return e;
}

std::optional<Expr> ExpressionGenerator::target(Type type, unsigned depth) {
    if (type.isCopyable())
        return place(type, depth, Use::Address);
    const auto found = findParts(m_program, m_function, Use::Address, m_isUniform, [&](Type whole) {
        return !whole.isNumbers() && !whole.isStructure() && whole.count() >= type.count() &&
               whole.element() == type.element();
    });
    if (found.empty())
        return std::nullopt;
    Expr whole = place(m_random.pick(found), depth, Use::Address);
    const unsigned spare = whole.type.count() - type.count();
    Expr from = spare > 0 ? index(spare + 1, depth) : fuzz::whole({Scalar::UInt}, 0);
    return node(Op::Slice, type, 0, {std::move(whole), std::move(from)});
}

Expr ExpressionGenerator::leaf(Type type, unsigned depth) {
    if (m_isUniform && type.lanes == 1 && m_random.percent(60))
        if (auto found = fromCounter(type))
            return *std::move(found);
    if (m_isKernel && depth > 0 && m_random.percent(30))
        if (auto found = input(type, depth - 1))
            return *std::move(found);
    if (type.lanes == 1 && isInteger(type.scalar) && m_isKernel && m_random.percent(15)) {
        const unsigned which = m_isUniform ? m_random.between(2, 3) : m_random.below(4);
        Expr thread = node(Op::Thread, {Scalar::UInt}, which, {});
        return type.scalar == Scalar::UInt ? thread
                                           : node(Op::Convert, type, 0, {std::move(thread)});
    }
    if (type == Type{Scalar::Float} && depth > 0 && m_random.percent(10)) {
        const auto count = static_cast<unsigned>(m_program.table.size());
        Expr e = node(Op::Table, type, 0, {index(count, depth - 1, true)});
        e.range = standardRange(type.scalar);
        return e;
    }
    if (m_random.percent(80))
        if (auto found = place(type, depth, Use::Read))
            return *std::move(found);
    if (depth > 0 && m_random.percent(50))
        return convert(type, depth - 1);
    return m_random.percent(25) ? literal(type) : fromOtherType(type);
}

/// Something that is not a constant, from whatever variables there are.
Expr ExpressionGenerator::fromOtherType(Type type) {
    if (type.lanes > 1) {
        Expr e = node(Op::Make, type, 0, {});
        for (unsigned i = 0; i < type.lanes; ++i)
            e.args.push_back(leaf(type.withLanes(1), 0));
        e.range = standardRange(type.scalar);
        return e;
    }
    if (type.isExact())
        return convert(type, 0);
    if (type.rough)
        return node(Op::Convert, type, 0, {leaf({type.scalar}, 0)});
    if (type.scalar == Scalar::Bool)
        return node(Op::Compare, type, m_random.below(std::size(compareOperators)),
                    {leaf({Scalar::UInt}, 0), leaf({Scalar::UInt}, 0)});
    for (int attempts = 0; attempts < 4; ++attempts)
        if (auto source = place({m_types.integer()}, 0, Use::Read))
            return node(Op::Convert, type, 0, {*std::move(source)});
    return literal(type);
}

std::optional<Expr> ExpressionGenerator::input(Type type, unsigned depth) {
    if (m_program.texture.width > 0 && type == Type{Scalar::Float, 4, true})
        return node(Op::Sample, type, 0,
                    {value(type.withLanes(1), depth), value(type.withLanes(1), depth)});
    for (unsigned i = m_random.below(2); i < std::size(inputTypes); ++i)
        if (inputTypes[i] == type) {
            if (!m_isUniform && m_random.percent(40))
                return m_inputs.at(i);
            Expr e = node(Op::Input, type, i, {value({Scalar::UInt}, depth)});
            e.range = standardRange(type.scalar);
            return e;
        }
    return std::nullopt;
}

/// From a variable of another type, as far as that is exact.
Expr ExpressionGenerator::convert(Type type, unsigned depth) {
    if (type.isExact()) {
        const bool isHalf = type.scalar == Scalar::Half;
        const Type source = Type{isHalf ? Scalar::Char : Scalar::Short}.withLanes(type.lanes);
        Expr mask = whole(source, isHalf ? 31 : 1023);
        Expr e = node(Op::Convert, type, 0,
                      {node(Op::Binary, source, And, {value(source, depth), std::move(mask)})});
        e.range = standardRange(type.scalar);
        return e;
    }
    if (type.rough) {
        Type source{m_random.percent(70) ? type.scalar : Scalar::Half, type.lanes};
        source.rough = source.scalar != type.scalar && m_random.percent(50);
        return node(Op::Convert, type, 0, {value(source, depth, false)});
    }
    const Scalar from = m_random.percent(25) ? Scalar::Float : m_types.integer();
    Expr source = value(Type{from}.withLanes(type.lanes), depth, false);
    if (isFloating(from) && m_random.percent(30)) { // large enough to leave the type
        Expr factor = number(source.type, std::ldexp(1, static_cast<int>(m_random.between(3, 60))));
        factor.range = {factor.number, static_cast<int>(std::log2(factor.number))};
        const Type wide = source.type;
        source = node(Op::Binary, wide, Multiply, {source, std::move(factor)});
    }
    return node(Op::Convert, type, 0, {std::move(source)});
}

std::optional<Expr> ExpressionGenerator::call(Type type, unsigned depth) {
    std::vector<unsigned> found;
    for (unsigned i = 0; i < m_program.functions.size(); ++i)
        if (m_program.functions[i].isPlain && m_program.functions[i].result == type &&
            !(m_isUniform && m_program.functions[i].isLambda))
            found.push_back(i);
    if (found.empty())
        return std::nullopt;
    const unsigned which = m_random.pick(found);
    const Function& callee = m_program.functions[which];
    Expr e = node(Op::Call, type, which, {});
    for (unsigned i = callee.captured(); i < callee.parameters; ++i)
        e.args.push_back(value(callee.variables[i].type, depth));
    e.range = standardRange(type.scalar);
    return e;
}

Expr ExpressionGenerator::value(Type type, unsigned depth, bool bounded) {
    type = type.unpacked();
    if (!type.isNumbers())
        return m_aggregates.value(type, depth);
    if (depth == 0 || m_random.percent(15))
        return leaf(type, depth);
    if (depth > 1 && !m_isUniform && m_random.percent(12) && counter())
        return uniformly([&] { return value(type, depth, bounded); });
    const unsigned below = depth - 1;
    const unsigned kind = m_random.below(20);
    Expr e;
    if (kind == 0) {
        const bool lanewise = type.lanes > 1 && m_random.percent(50);
        Expr a = value(type, below);
        Expr b = value(type, below);
        const Type condition = Type{Scalar::Bool}.withLanes(lanewise ? type.lanes : 1);
        e = node(Op::Choose, type, 0, {value(condition, below), std::move(a), std::move(b)});
        e.range = standardRange(type.scalar);
    } else if (kind == 1) {
        auto made = m_random.percent(60) ? call(type, below) : m_aggregates.part(type, below);
        e = made ? *std::move(made) : leaf(type, below);
    } else if (kind < 5 && type.lanes > 1) {
        e = node(Op::Make, type, 0, {});
        for (unsigned i = 0; i < type.lanes; ++i)
            e.args.push_back(value(type.withLanes(1), below));
        e.range = standardRange(type.scalar);
    } else if (kind < 6) {
        const unsigned lanes = m_random.between(2, 4);
        e = node(Op::Swizzle, type, 0, {value(type.withLanes(lanes), below)});
        e.lanes = someLanes(lanes, type.lanes, false);
        e.range = standardRange(type.scalar);
    } else if (type.scalar == Scalar::Bool) {
        e = boolean(type, below);
    } else if (isInteger(type.scalar)) {
        e = integer(type, below);
    } else {
        auto found = type.rough ? m_floats.rough(type, below) : m_floats.exact(type, below);
        e = found                  ? *std::move(found)
            : m_random.percent(50) ? convert(type, below)
                                   : leaf(type, below);
    }
    return type.isExact() && bounded ? normalised(std::move(e)) : e;
}

/// Whether a product has more bits than its type.
Expr ExpressionGenerator::overflow(unsigned depth) {
    const Type type{m_random.percent(50) ? Scalar::UInt : Scalar::ULong};
    const Expr a = value(type, depth);
    const Expr b = value(type, depth);
    const Type truth{Scalar::Bool};
    constexpr unsigned differs = 1; // of compareOperators
    Expr quotient = node(Op::Binary, type, Divide, {node(Op::Binary, type, Multiply, {a, b}), a});
    return node(Op::Logic, truth, 0,
                {node(Op::Compare, truth, differs, {a, whole(type, 0)}),
                 node(Op::Compare, truth, differs, {std::move(quotient), b})});
}

Expr ExpressionGenerator::boolean(Type type, unsigned depth) {
    if (m_program.features.sums && type.lanes == 1 && m_random.percent(10))
        return overflow(depth);
    const unsigned kind = m_random.below(10);
    if (kind == 0)
        return node(Op::Unary, type, Not, {value(type, depth)});
    if (kind == 1 && type.lanes == 1) {
        const Type vector = type.withLanes(m_random.between(2, 4));
        return node(Op::Unary, type, m_random.percent(50) ? Any : All, {value(vector, depth)});
    }
    if (kind < 4 && type.lanes == 1)
        return node(Op::Logic, type, m_random.below(2), {value(type, depth), value(type, depth)});
    if (kind == 4 && type.lanes == 1 && m_random.percent(30))
        return m_aggregates.comparison(depth);
    const Scalar of = m_random.percent(70)   ? m_types.integer()
                      : m_random.percent(70) ? Scalar::Float
                                             : Scalar::Half;
    const Type operands = Type{of}.withLanes(type.lanes);
    return node(Op::Compare, type, m_random.below(std::size(compareOperators)),
                {value(operands, depth, false), value(operands, depth, false)});
}

Expr ExpressionGenerator::integer(Type type, unsigned depth) {
    const unsigned kind = m_random.below(20);
    if (kind < 9)
        return node(Op::Binary, type, m_random.below(std::size(binaryOperators)),
                    {value(type, depth), value(type, depth)});
    if (kind < 11)
        return node(Op::Unary, type, m_random.below(2), {value(type, depth)});
    if (kind < 14) {
        const unsigned which = m_random.below(integerFunctions().size());
        const IntegerFunction& f = integerFunctions()[which];
        const unsigned bytes = bytesOf(type.scalar);
        if (bytes < f.minBytes || bytes > f.maxBytes)
            return leaf(type, depth);
        Expr e = node(Op::Integer, type, which, {});
        for (unsigned i = 0; i < f.arity; ++i)
            e.args.push_back(i + f.counts >= f.arity ? index(40, depth) : value(type, depth));
        return e;
    }
    if (kind < 16 && type == type.withLanes(1) && bytesOf(type.scalar) == 4)
        return integerOnly32(type, depth);
    if (kind < 17)
        if (auto made = bits(type, depth))
            return *std::move(made);
    return convert(type, depth);
}

/// From integers or numbers of another shape that have as many bytes.
std::optional<Expr> ExpressionGenerator::bits(Type type, unsigned depth) {
    const unsigned bytes = bytesOf(type.scalar) * type.lanes;
    const Type source{m_random.percent(20) ? Scalar::Float : m_types.integer()};
    const unsigned lanes = bytes / bytesOf(source.scalar);
    const bool isSame = source.scalar == type.scalar;
    if (lanes * bytesOf(source.scalar) != bytes || lanes == 0 || lanes > 4 || isSame ||
        (lanes == 3) != (type.lanes == 3))
        return std::nullopt;
    Expr e = value(source.withLanes(lanes), depth);
    if (source.isExact()) { // not zero, of which there are two
        Expr much = number(e.type, 2 * standardRange(source.scalar).bound);
        e = node(Op::Binary, source.withLanes(lanes), Add, {std::move(e), std::move(much)});
    }
    return node(Op::Bits, type, 0, {std::move(e)});
}

/// What exists for int and uint only.
Expr ExpressionGenerator::integerOnly32(Type type, unsigned depth) {
    switch (m_random.below(m_isKernel ? 5 : 2)) {
    case 0:
        if (auto made = bits(type, depth))
            return *std::move(made);
        break;
    case 1:
        if (type.scalar == Scalar::Int)
            return node(Op::Table, type, 0,
                        {index(static_cast<unsigned>(m_program.table.size()), depth, true)});
        break;
    case 2:
        if (type.scalar == Scalar::UInt)
            return node(Op::Pick, type, 0,
                        {value({Scalar::Bool}, depth), value({Scalar::UInt}, depth)});
        break;
    case 3: {
        Expr e = node(Op::Peek, type, m_random.below(2), {});
        e.integer = m_random.percent(60) ? 4 : 1;
        e.args.push_back(regionIndex(static_cast<unsigned>(e.integer), depth));
        return type.scalar == Scalar::UInt && !m_isUniform ? e : leaf(type, depth);
    }
    case 4:
        if (type.scalar == Scalar::UInt && m_program.texture.width > 0) {
            Expr e = node(Op::Swizzle, type, 0,
                          {node(Op::Texel, type.withLanes(4), 0,
                                {index(m_program.texture.width + 1, depth),
                                 index(m_program.texture.height, depth)})});
            e.lanes = {m_random.below(4)};
            return e;
        }
        break;
    default:
        break;
    }
    return leaf(type, depth);
}

} // namespace fuzz
