// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/GroupStatements.h"

#include "bench/fuzz/Collectives.h"
#include "bench/fuzz/Nodes.h"

#include <limits>

namespace fuzz {

std::vector<Stmt> GroupStatements::phases(unsigned count) {
    std::vector<Stmt> statements;
    for (unsigned i = 0; i < count; ++i) {
        const bool gathers = m_program.features.sums && m_random.percent(15);
        const unsigned kind = m_random.below(20);
        std::optional<Stmt> made;
        if (gathers)
            made = gather();
        else if (kind < 4)
            made = exchange();
        else if (kind < 9)
            made = together(true);
        else if (kind < 11)
            made = divergence();
        else if (kind < 13 && count > 1)
            made = phaseLoop(count / 2);
        statements.push_back(made ? *std::move(made) : m_statements.statement({.depth = 2}));
    }
    return statements;
}

std::optional<Expr> GroupStatements::anywhere(Type type) {
    auto target = m_statements.expressions().place(type, 2, Use::Assign);
    if (target && m_kernel.variables[variableOf(*target)].isUniform)
        return std::nullopt;
    return target;
}

std::optional<Stmt> GroupStatements::exchange() {
    const Type type =
        m_random.percent(75) ? m_types.numbers() : m_statements.assignable().unpacked();
    auto target = anywhere(type);
    if (!target || target->type != type)
        return std::nullopt;
    Stmt s{.verb = Verb::Exchange, .which = m_exchanges++};
    s.exprs = {*std::move(target), m_statements.value(type), m_statements.value({Scalar::UInt})};
    return s;
}

std::optional<Stmt> GroupStatements::together(bool isWhole) {
    const Stmt s{.verb = Verb::Together, .which = m_random.below(collectives().size())};
    const Together kind = collectives()[s.which].kind;
    const bool votes = kind == Together::Vote;
    const Type type{votes || m_random.percent(50) ? Scalar::UInt : Scalar::Int};
    auto target = anywhere(type);
    if (!target || (needsAll(kind) && !isWhole))
        return std::nullopt;
    Stmt made = s;
    made.exprs = {*std::move(target), m_statements.value(votes ? Type{Scalar::Bool} : type)};
    if (kind == Together::Shuffle)
        made.exprs.push_back(m_statements.value({Scalar::UInt}));
    if (kind == Together::Shift)
        made.limit = m_random.between(1, 20);
    return made;
}

std::optional<Stmt> GroupStatements::gather() {
    const Type type{m_random.percent(50) ? Scalar::UInt : Scalar::Int};
    auto target = anywhere(type);
    if (!target)
        return std::nullopt;
    Stmt s{.verb = Verb::Gather, .which = m_words++};
    s.limit = m_random.below(std::size(atomicOperations));
    if (s.limit == AtomicAnd || s.limit == AtomicMin)
        s.start = std::numeric_limits<int>::max();
    s.exprs = {*std::move(target), m_statements.value(type)};
    return s;
}

Stmt GroupStatements::divergence() {
    Stmt s{.verb = Verb::If, .exprs = {m_statements.condition()}};
    s.bodies.resize(2);
    for (auto& body : s.bodies)
        for (unsigned i = m_random.between(1, 3); i > 0; --i) {
            auto made = m_random.percent(60) ? together(false) : std::nullopt;
            body.push_back(made ? *std::move(made) : m_statements.statement({.depth = 1}));
        }
    return s;
}

Stmt GroupStatements::phaseLoop(unsigned count) {
    constexpr Type type{Scalar::UInt};
    Stmt s{.verb = Verb::For, .exprs = {whole(type, m_random.between(1, 4))}};
    s.which = m_statements.add({.form = Form::Counter, .type = type});
    s.bodies.push_back(phases(count));
    return s;
}

} // namespace fuzz
