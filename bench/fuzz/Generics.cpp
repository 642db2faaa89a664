// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Generics.h"

#include "bench/fuzz/Library.h"

#include <algorithm>

namespace fuzz {
namespace {

class Check {
public:
    Check(Scalar from, Scalar to) : m_from(from), m_to(to) {}

    bool allows(Type type) const {
        return type.structure < 0 && !(type.isPacked && type.scalar == m_from);
    }
    bool allows(const Expr& e) const {
        return allows(e.type) && allowsOperation(e) &&
               std::ranges::all_of(e.args, [&](const Expr& argument) { return allows(argument); });
    }
    bool allows(const Stmt& s) const {
        return s.verb != Verb::Call && s.verb != Verb::Poke && s.verb != Verb::Atomic &&
               std::ranges::all_of(s.exprs, [&](const Expr& e) { return allows(e); }) &&
               std::ranges::all_of(s.bodies, [&](const auto& body) { return allows(body); });
    }
    bool allows(const std::vector<Stmt>& body) const {
        return std::ranges::all_of(body, [&](const Stmt& s) { return allows(s); });
    }

private:
    /// What exists for some types only, or depends on their size.
    bool allowsOperation(const Expr& e) const {
        switch (e.op) {
        case Op::Bits:
        case Op::Table:
        case Op::Call:
            return false;
        case Op::Integer: {
            const IntegerFunction& f = integerFunctions()[e.which];
            return e.type.scalar != m_from ||
                   (bytesOf(m_to) >= f.minBytes && bytesOf(m_to) <= f.maxBytes);
        }
        default:
            return true;
        }
    }

    Scalar m_from;
    Scalar m_to;
};

class Replacement {
public:
    Replacement(Scalar from, Scalar to) : m_from(from), m_to(to) {}

    void apply(Type& type) const {
        if (type.structure < 0 && type.scalar == m_from)
            type.scalar = m_to;
    }
    void apply(Expr& e) const {
        if (e.op == Op::Literal && e.type.isNumbers() && e.type.scalar == m_from)
            e.integer = wrapped(m_to, wide(m_from, e.integer));
        apply(e.type);
        for (Expr& argument : e.args)
            apply(argument);
    }
    void apply(std::vector<Stmt>& body) const {
        for (Stmt& s : body) {
            for (Expr& e : s.exprs)
                apply(e);
            for (auto& inner : s.bodies)
                apply(inner);
        }
    }

private:
    Scalar m_from;
    Scalar m_to;
};

} // namespace

bool canReplace(const Function& function, Scalar from, Scalar to) {
    const Check check(from, to);
    return check.allows(function.result) && check.allows(function.body) &&
           std::ranges::all_of(function.variables,
                               [&](const Variable& v) { return check.allows(v.type); });
}

Function replaced(Function function, Scalar from, Scalar to) {
    const Replacement replacement(from, to);
    replacement.apply(function.result);
    for (Variable& v : function.variables)
        replacement.apply(v.type);
    replacement.apply(function.body);
    return function;
}

void renewInstances(Program& program) {
    for (std::size_t i = 0; i < program.functions.size(); ++i) {
        const auto generic = program.functions[i].generic;
        if (!generic || generic->source == i)
            continue;
        const Function& source = program.functions[generic->source];
        program.functions[i] = replaced(source, source.generic->parameter, generic->parameter);
        program.functions[i].generic = generic;
    }
}

} // namespace fuzz
