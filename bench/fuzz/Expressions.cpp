// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Expressions.h"

#include "bench/fuzz/Library.h"

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
        operands.insert(operands.end(), v.begin(), v.begin() + lanes);
    Value result;
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

Location Expressions::locate(const Expr& e, const Frame& frame) {
    const Variable& v = frame.function->variables[e.which];
    Location result;
    result.base = frame.bases[e.which];
    if (v.form == Form::Pointer || v.form == Form::Reference)
        result.base = static_cast<std::size_t>(m_thread.variables.cell(result.base).integer);
    if (e.indexed)
        result.base +=
            bounded(integer(e.args[0], frame), v.count) * m_thread.variables.elementSize(v);
    unsigned lanes = v.type.lanes;
    if (e.field >= 0) {
        const auto& fields = m_program.structures[static_cast<unsigned>(v.structure)].fields;
        const auto field = fields.begin() + e.field;
        for (auto before = fields.begin(); before != field; ++before)
            result.base += before->lanes;
        lanes = field->lanes;
    }
    if (e.args.size() > (e.indexed ? 1u : 0u))
        result.lanes[0] = static_cast<unsigned>(integer(e.args.back(), frame)) % lanes;
    std::ranges::copy(e.lanes, result.lanes.begin());
    return result;
}

Value Expressions::callPlain(const Expr& e, const Frame& frame) {
    Arguments arguments;
    for (const Expr& argument : e.args) {
        const Value value = evaluate(argument, frame);
        arguments.emplace_back(value.begin(), value.begin() + argument.type.lanes);
    }
    return m_call(m_program.functions[e.which], arguments);
}

Value Expressions::evaluate(const Expr& e, const Frame& frame) {
    switch (e.op) {
    case Op::Literal: {
        Value v;
        v.fill({.integer = e.integer, .number = e.number});
        return v;
    }
    case Op::Thread:
        return {Cell{.integer = std::array{m_thread.x, m_thread.y, m_program.width,
                                           m_program.height}[e.which]}};
    case Op::Place:
        return m_thread.variables.load(locate(e, frame), e.type.lanes);
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
        Value v{};
        for (unsigned i = 0; i < e.integer; ++i)
            v[0].integer |=
                std::int64_t{m_thread.region[static_cast<std::size_t>(args[0][0].integer) + i]}
                << (8 * i);
        return v;
    }
    case Op::Bits:
        return bits(e.type, e.args[0].type, args[0]);
    case Op::Texel:
        return m_inputs.texels(args[0][0].integer, args[1][0].integer);
    case Op::Geometry:
        return geometry(e, args);
    default:
        break;
    }
    Value result;
    for (unsigned lane = 0; lane < e.type.lanes; ++lane)
        result[lane] = laneOf(e, args, lane);
    return result;
}

/// Operations that compute each lane on its own.
Cell Expressions::laneOf(const Expr& e, const std::vector<Value>& args, unsigned lane) const {
    const auto argument = [&](std::size_t i) { return args[i][lane]; };
    switch (e.op) {
    case Op::Unary:
        return unary(e.type, e.which, args[0], lane, e.args[0].type.lanes);
    case Op::Binary:
        return binary(e.type, e.which, argument(0), argument(1));
    case Op::Compare:
        return {.integer = compare(e.args[0].type, e.which, argument(0), argument(1))};
    case Op::Choose:
        return argument(argument(0).integer != 0 ? 1 : 2);
    case Op::Convert:
        return convert(e.type, e.args[0].type, argument(0));
    case Op::Make:
        return args[lane][0];
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
