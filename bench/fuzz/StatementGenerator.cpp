// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/StatementGenerator.h"

#include "bench/fuzz/Library.h"
#include "bench/fuzz/Nodes.h"

namespace fuzz {

unsigned variableOf(const Expr& place) {
    return place.op == Op::Place ? place.which : variableOf(place.args[0]);
}

unsigned StatementGenerator::add(Variable variable) {
    m_function.variables.push_back(variable);
    return static_cast<unsigned>(m_function.variables.size() - 1);
}

Expr StatementGenerator::value(Type type) {
    return m_expressions.value(type, m_random.between(1, 3));
}

Expr StatementGenerator::uniform(Type type) {
    return m_expressions.uniformly([&] { return value(type); });
}

Expr StatementGenerator::condition() {
    return m_random.percent(20) ? uniform({Scalar::Bool}) : value({Scalar::Bool});
}

std::vector<Stmt> StatementGenerator::block(Place place, unsigned count) {
    std::vector<Stmt> statements;
    statements.reserve(count);
    for (unsigned i = 0; i < count; ++i)
        statements.push_back(statement(place));
    return statements;
}

std::vector<Stmt> StatementGenerator::nested(Place place) {
    return block({place.depth - 1, place.inLoop, place.inSwitch, place.loops},
                 m_random.between(1, 3));
}

Stmt StatementGenerator::statement(Place place) {
    if (m_program.features.sums && place.depth > 0 && place.loops == 0 && m_random.percent(8))
        if (auto made = sum())
            return *std::move(made);
    const unsigned kind = m_random.below(100);
    if (place.depth > 0) {
        if (kind < 14)
            return branch(place);
        if (kind < 27 && place.loops < 2)
            return loop(place);
        if (kind < 31)
            return choice(place);
    }
    if (kind < 36 && (place.inLoop || place.inSwitch))
        return guarded(
            place, {.verb = place.inLoop && m_random.percent(50) ? Verb::Continue : Verb::Break});
    // A thread that leaves the kernel shows nothing of what it has done.
    if (kind < 39 && (!m_isKernel || (!m_program.features.groups && m_random.percent(20))))
        return guarded(place, result());
    if (kind < 42)
        if (auto made = step())
            return *std::move(made);
    if (kind < 48)
        if (auto made = call())
            return *std::move(made);
    if (kind < 54)
        if (auto made = point())
            return *std::move(made);
    if (m_isKernel && kind < 60)
        return poke();
    if (m_isKernel && kind < 64)
        return {.verb = Verb::Atomic,
                .which = m_random.below(std::size(atomicOperations)),
                .exprs = {m_expressions.index(countersPerOperation, 1), value({Scalar::UInt})}};
    return assignment(place);
}

Stmt StatementGenerator::assignment(Place where) {
    for (;;) {
        const Type type = m_random.percent(75) ? m_types.numbers() : assignable();
        auto target = m_expressions.place(type, 2, Use::Assign);
        if (!target)
            continue;
        const bool isUniform = m_function.variables[variableOf(*target)].isUniform ||
                               (where.loops > 0 && m_random.percent(40));
        Stmt s{.verb = Verb::Assign, .exprs = {*std::move(target)}};
        if (m_random.percent(35))
            makeCompound(s);
        const Type source = s.compound ? operandFor(s) : type;
        s.exprs.push_back(isUniform ? uniform(source) : value(source));
        return s;
    }
}

Type StatementGenerator::assignable() {
    const auto found = findParts(m_program, m_function, Use::Assign, false,
                                 [](Type type) { return type.isCopyable(); });
    return found.empty() ? m_types.numbers() : m_random.pick(found).type;
}

void StatementGenerator::makeCompound(Stmt& s) {
    const Type type = s.exprs[0].type;
    if (type.isPacked)
        return;
    if (type.isNumbers() && isInteger(type.scalar)) {
        s.compound = true;
        s.which = m_random.below(std::size(binaryOperators));
    } else if (type.rough && (type.isNumbers() || type.isMatrix())) {
        s.compound = true;
        s.which = m_random.below(3);
    }
}

Type StatementGenerator::operandFor(const Stmt& s) {
    const Type type = s.exprs[0].type;
    if (!type.rough || s.which != Multiply || m_random.percent(40))
        return type.isMatrix() && s.which == Multiply && type.columns != type.lanes
                   ? type.withLanes(1)
                   : type;
    if (type.isMatrix())
        return type.withLanes(1);
    return type.lanes > 1 ? type.matrixOf(type.lanes, type.lanes) : type;
}

std::optional<Stmt> StatementGenerator::step() {
    const Type type{m_types.integer()};
    auto target = m_expressions.place(type, 2, Use::Assign);
    if (!target)
        return std::nullopt;
    Stmt s{.verb = Verb::Step, .compound = m_random.percent(50)};
    s.step = m_random.percent(50) ? 1 : -1;
    s.exprs.push_back(*std::move(target));
    const bool isUniform = m_function.variables[variableOf(s.exprs[0])].isUniform;
    auto second = m_expressions.place(type, 2, Use::Assign);
    if (second && m_random.percent(70) &&
        (isUniform || !m_function.variables[variableOf(*second)].isUniform))
        s.exprs.push_back(*std::move(second));
    return s;
}

Stmt StatementGenerator::guarded(Place place, Stmt jump) {
    if (place.depth == 0 && m_random.percent(20))
        return jump;
    Stmt s{.verb = Verb::If, .exprs = {condition()}};
    s.bodies.resize(2);
    s.bodies[0].push_back(std::move(jump));
    return s;
}

Stmt StatementGenerator::result() {
    Stmt s{.verb = Verb::Return};
    if (!m_isKernel)
        s.exprs.push_back(value(m_function.result));
    return s;
}

Stmt StatementGenerator::branch(Place place) {
    Stmt s{.verb = Verb::If, .exprs = {condition()}};
    s.bodies.push_back(nested(place));
    s.bodies.emplace_back();
    if (m_random.percent(50))
        s.bodies[1] = nested(place);
    return s;
}

Stmt StatementGenerator::loop(Place place) {
    const Verb verbs[] = {Verb::For, Verb::For, Verb::While, Verb::DoWhile};
    Stmt s{.verb = m_random.pick(verbs)};
    s.limit = m_random.between(1, place.loops == 0 ? 9 : 5);
    if (s.verb == Verb::For) {
        setCounter(s);
    } else {
        s.exprs.push_back(condition());
        s.which = add({.form = Form::Counter, .type = {Scalar::UInt}});
    }
    place.inLoop = true;
    place.inSwitch = false;
    ++place.loops;
    s.bodies.push_back(nested(place));
    return s;
}

std::optional<Stmt> StatementGenerator::sum() {
    const Type type{m_types.integer()};
    auto target = m_expressions.place(type, 0, Use::Assign);
    if (!target || m_function.variables[variableOf(*target)].isUniform)
        return std::nullopt;
    const Type counts{Scalar::UInt};
    constexpr unsigned limits[] = {5, 50, 300};
    Stmt s{.verb = Verb::For, .exprs = {m_expressions.index(m_random.pick(limits), 1)}};
    s.start = static_cast<int>(m_random.below(3));
    s.which = add({.form = Form::Counter, .type = counts});
    Expr addend = node(Op::Convert, type, 0, {node(Op::Place, counts, s.which, {})});
    for (unsigned i = m_random.below(3); i > 0; --i)
        addend = node(Op::Binary, type, m_random.percent(70) ? Multiply : Add,
                      {addend, m_random.percent(70) ? node(Op::Convert, type, 0,
                                                           {node(Op::Place, counts, s.which, {})})
                                                    : m_expressions.value(type, 0)});
    Stmt inner{.verb = Verb::Assign, .which = m_random.percent(80) ? Add : Subtract};
    inner.compound = true;
    inner.exprs = {*std::move(target), std::move(addend)};
    s.bodies.push_back({std::move(inner)});
    return s;
}

void StatementGenerator::setCounter(Stmt& s) {
    constexpr Scalar types[] = {Scalar::UInt, Scalar::UInt, Scalar::Int, Scalar::Float};
    const Type type{m_random.pick(types)};
    const unsigned rounds = m_random.percent(10) ? m_random.between(10, 40) : s.limit;
    const bool isDown = m_random.percent(30);
    // Counting down by more than one, an unsigned number would go past zero.
    const unsigned step = m_random.percent(70) || (isDown && type.scalar == Scalar::UInt) ? 1 : 3;
    s.step = isDown ? -static_cast<int>(step) : static_cast<int>(step);
    const unsigned farthest = rounds * step;
    if (isDown)
        s.start = static_cast<int>(farthest);
    else if (m_random.percent(30))
        s.start = isSigned(type.scalar) ? -3 : 1;
    const auto anywhere = [&] { return m_expressions.index(farthest + 1, 2); };
    Expr end = m_random.percent(50)   ? whole({Scalar::UInt}, isDown ? 0 : farthest)
               : m_random.percent(40) ? m_expressions.uniformly(anywhere)
                                      : anywhere();
    if (type.scalar != Scalar::UInt)
        end = node(Op::Convert, type, 0, {std::move(end)});
    s.exprs.push_back(std::move(end));
    s.which = add({.form = Form::Counter, .type = type});
}

Stmt StatementGenerator::choice(Place place) {
    Stmt s{.verb = Verb::Switch, .exprs = {value({Scalar::UInt})}};
    place.inSwitch = true;
    for (unsigned i = m_random.between(2, 5), label = 0; i > 0; --i) {
        s.bodies.push_back(nested(place));
        label += m_random.between(1, 2);
        s.labels.push_back(label - 1);
        s.fallsThrough.push_back(m_random.percent(25));
    }
    return s;
}

std::optional<Stmt> StatementGenerator::call() {
    if (m_program.functions.empty())
        return std::nullopt;
    return callOf(m_random.below(m_program.functions.size()));
}

std::optional<Stmt> StatementGenerator::callOf(unsigned which) {
    Stmt s{.verb = Verb::Call, .which = which};
    const Function& callee = m_program.functions[s.which];
    if (auto target = m_expressions.place(callee.result, 1, Use::Assign); target) {
        s.compound = true;
        s.exprs.push_back(*std::move(target));
    }
    for (unsigned i = callee.captured(); i < callee.parameters; ++i) {
        auto argument = argumentFor(callee.variables[i]);
        if (!argument)
            return std::nullopt;
        s.exprs.push_back(*std::move(argument));
    }
    return s;
}

std::optional<Expr> StatementGenerator::argumentFor(const Variable& parameter) {
    if (parameter.form == Form::Plain)
        return value(parameter.type);
    return parameter.form == Form::Pointer ? m_expressions.target(parameter.type, 1)
                                           : m_expressions.place(parameter.type, 1, Use::Address);
}

std::optional<Stmt> StatementGenerator::point() {
    for (unsigned i = m_function.parameters; i < m_function.variables.size(); ++i) {
        const Variable& v = m_function.variables[i];
        if (v.form != Form::Pointer || m_random.percent(50))
            continue;
        Stmt s{.verb = Verb::Point, .which = i};
        for (int k = 0; k < 2; ++k)
            if (auto target = m_expressions.target(v.type, 1))
                s.exprs.push_back(*std::move(target));
        if (m_random.percent(60))
            s.exprs.push_back(condition());
        else
            s.exprs.pop_back();
        return s;
    }
    return std::nullopt;
}

Stmt StatementGenerator::poke() {
    Stmt s{.verb = Verb::Poke,
           .compound = m_random.percent(50),
           .limit = m_random.percent(60) ? 4u : 1u};
    s.exprs.push_back(m_expressions.regionIndex(s.limit, 2));
    s.exprs.push_back(value({Scalar::UInt}));
    return s;
}

} // namespace fuzz
