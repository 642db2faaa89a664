// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Expressions.h"

#include "bench/fuzz/Library.h"
#include "bench/fuzz/Matrices.h"

#include <algorithm>

namespace fuzz {
namespace {

std::size_t bounded(std::int64_t index, std::size_t count) {
    return std::min(static_cast<std::size_t>(index), count - 1);
}

Value geometry(const Expr& e, const std::vector<Value>& args) {
    const GeometryFunction& f = geometryFunctions()[e.which];
    const unsigned lanes = e.args[0].type.lanes;
    std::vector<Cell> operands;
    for (const Value& v : args)
        operands.insert(operands.end(), v.begin(), v.end());
    Value result(e.type.lanes);
    for (unsigned lane = 0; lane < e.type.lanes; ++lane)
        result[lane] = roughCell(e.type.scalar, operands, [&](const double* x) {
            std::array<Lanes, 2> vectors{};
            for (std::size_t i = 0; i < operands.size(); ++i)
                vectors[i / lanes][i % lanes] = x[i];
            return f.evaluate(vectors.data(), lanes)[lane];
        });
    return result;
}

} // namespace

/// How many cells a part, other than lanes by name, lies behind the start of the whole. Beyond its
/// end, an array has its last element again, and so have the columns of a matrix.
std::size_t Expressions::partAt(const Expr& e, const Frame& frame) {
    const Type whole = e.args[0].type;
    if (e.op == Op::Field) {
        const auto& fields = m_program.fields(whole);
        std::size_t cells = 0;
        for (unsigned i = 0; i < e.which; ++i)
            cells += m_program.cellsOf(fields[i]);
        return cells;
    }
    const std::int64_t index = integer(e.args[1], frame);
    if (e.op == Op::Slice)
        return static_cast<std::size_t>(index) * m_program.cellsOf(e.type.element());
    const std::size_t element = whole.isNumbers() && !whole.isPacked
                                    ? static_cast<std::size_t>(index) % whole.lanes
                                    : bounded(index, whole.count());
    return element * m_program.cellsOf(e.type);
}

Location Expressions::locate(const Expr& e, const Frame& frame) {
    if (e.op == Op::Place) {
        const std::size_t base = frame.bases[e.which];
        const Form form = frame.function->variables[e.which].form;
        if (form != Form::Pointer && form != Form::Reference)
            return {.base = base};
        return {.base = static_cast<std::size_t>(m_thread.variables.cell(base).integer)};
    }
    Location result = locate(e.args[0], frame);
    if (e.op != Op::Swizzle && result.lanes.empty()) {
        result.base += partAt(e, frame);
        return result;
    }
    // Lanes of lanes, or one of them.
    std::vector<unsigned> lanes = e.lanes;
    if (e.op != Op::Swizzle)
        lanes = {static_cast<unsigned>(partAt(e, frame))};
    if (!result.lanes.empty())
        for (unsigned& lane : lanes)
            lane = result.lanes[lane];
    result.lanes = std::move(lanes);
    return result;
}

Value Expressions::callPlain(const Expr& e, const Frame& frame) {
    Arguments arguments;
    for (const Expr& argument : e.args)
        arguments.push_back(evaluate(argument, frame));
    return m_call(m_program.functions[e.which], arguments);
}

Value Expressions::evaluate(const Expr& e, const Frame& frame) {
    if (isPlace(e))
        return m_thread.variables.load(locate(e, frame), m_program.cellsOf(e.type));
    switch (e.op) {
    case Op::Literal:
        return Value(m_program.cellsOf(e.type), {.integer = e.integer, .number = e.number});
    case Op::Thread:
        return {Cell{.integer = std::array{m_thread.x, m_thread.y, m_program.width,
                                           m_program.height}[e.which]}};
    case Op::Element:
    case Op::Field: {
        const Value whole = evaluate(e.args[0], frame);
        const auto first = whole.begin() + static_cast<std::ptrdiff_t>(partAt(e, frame));
        return {first, first + m_program.cellsOf(e.type)};
    }
    case Op::Logic: {
        const Value first = evaluate(e.args[0], frame);
        const bool decided = (first[0].integer != 0) == (e.which == 1);
        return decided ? first : evaluate(e.args[1], frame);
    }
    case Op::Choose:
        if (e.args[0].type.lanes == 1)
            return evaluate(e.args[holds(e.args[0], frame) ? 1 : 2], frame);
        break;
    case Op::Call:
        return callPlain(e, frame);
    default:
        break;
    }
    std::vector<Value> args;
    args.reserve(e.args.size());
    for (const Expr& argument : e.args)
        args.push_back(evaluate(argument, frame));
    return operation(e, args);
}

Value Expressions::operation(const Expr& e, const std::vector<Value>& args) const {
    switch (e.op) {
    case Op::Input:
        return {m_inputs.element(e.which, args[0][0].integer)};
    case Op::Pick:
        return {m_inputs.element(args[0][0].integer != 0 ? 0 : 1, args[1][0].integer)};
    case Op::Table: {
        const auto value = m_program.table[bounded(args[0][0].integer, m_program.table.size())];
        if (isFloating(e.type.scalar))
            return {Cell{.number = static_cast<double>(tableNumber(value))}};
        return {Cell{.integer = value}};
    }
    case Op::Peek: {
        Cell c;
        for (unsigned i = 0; i < e.integer; ++i)
            c.integer |=
                std::int64_t{m_thread.region[static_cast<std::size_t>(args[0][0].integer) + i]}
                << (8 * i);
        return {c};
    }
    case Op::Bits:
        return bits(e.type, e.args[0].type, args[0]);
    case Op::Texel:
        return m_inputs.texels(args[0][0].integer, args[1][0].integer);
    case Op::Geometry:
        return geometry(e, args);
    case Op::Transpose:
        return transpose(e.args[0].type, args[0]);
    case Op::Determinant:
        return {determinant(e.args[0].type, args[0])};
    case Op::Make: {
        if (e.type.isMatrix() && args.size() == 1)
            return diagonal(e.type, args[0][0]);
        Value v;
        for (const Value& part : args)
            v.insert(v.end(), part.begin(), part.end());
        return v;
    }
    case Op::Binary:
        if (e.args[0].type.isMatrix() || e.args[1].type.isMatrix())
            return matrixBinary(e.type, e.which, e.args[0].type, args[0], e.args[1].type, args[1]);
        break;
    case Op::Compare:
        if (e.args[0].type.isMatrix()) {
            const bool areEqual =
                std::ranges::equal(args[0], args[1], {}, &Cell::number, &Cell::number);
            return {Cell{.integer = areEqual == (compareOperators[e.which][0] == '=')}};
        }
        break;
    default:
        break;
    }
    Value result(m_program.cellsOf(e.type));
    for (unsigned lane = 0; lane < result.size(); ++lane)
        result[lane] = laneOf(e, args, lane);
    return result;
}

/// Operations that compute each lane on its own.
Cell Expressions::laneOf(const Expr& e, const std::vector<Value>& args, unsigned lane) const {
    const auto argument = [&](std::size_t i) { return args[i][lane]; };
    switch (e.op) {
    case Op::Unary:
        return unary(e.type, e.which, args[0], lane);
    case Op::Binary:
        return binary(e.type, e.which, argument(0), argument(1));
    case Op::Compare:
        return {.integer = compare(e.args[0].type, e.which, argument(0), argument(1))};
    case Op::Choose:
        return argument(argument(0).integer != 0 ? 1 : 2);
    case Op::Convert:
        return convert(e.type, e.args[0].type, argument(0));
    case Op::Swizzle:
        return args[0][e.lanes[lane]];
    case Op::Integer: {
        const IntegerFunction& f = integerFunctions()[e.which];
        Wide x[4]{};
        for (unsigned i = 0; i < f.arity; ++i)
            x[i] = i + f.counts >= f.arity ? Wide(args[i][0].integer)
                                           : wide(e.type.scalar, argument(i).integer);
        return {.integer =
                    wrapped(e.type.scalar, f.evaluate({x[0], x[1], x[2], x[3], e.type.scalar}))};
    }
    case Op::Exact: {
        double x[3]{};
        for (std::size_t i = 0; i < args.size(); ++i)
            x[i] = argument(i).number;
        return {.number = exactFunctions()[e.which].evaluate(x)};
    }
    case Op::Rough: {
        std::vector<Cell> operands;
        operands.reserve(args.size());
        for (std::size_t i = 0; i < args.size(); ++i)
            operands.push_back(argument(i));
        const RoughFunction& f = roughFunctions()[e.which];
        return roughCell(e.type.scalar, operands, f.evaluate, f.wave);
    }
    case Op::Sample:
        return roughCell(
            e.type.scalar, {args[0][0], args[1][0]},
            [&](const double* x) { return m_inputs.filtered(x, lane); }, 0.02);
    default:
        return {};
    }
}

} // namespace fuzz
