// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Shrinker.h"

#include "bench/fuzz/Generics.h"

#include <algorithm>
#include <span>

namespace fuzz {
namespace {

/// All ways to make a program a little smaller, numbered; makes the one that is asked for.
class Edit {
public:
    explicit Edit(std::size_t number) : m_left(number) {}

    /// False when there are not so many edits.
    bool apply(Program& program) {
        m_program = &program;
        const bool applied = grid(program) ||
                             eachFunction([&](Function& f) { return statements(f, f.body); }) ||
                             eachFunction([&](Function& f) { return expressions(f.body); });
        renewInstances(program);
        return applied;
    }

private:
    bool isTurn() { return m_left-- == 0; }

    template <class Work>
    bool eachFunction(const Work& work) {
        for (std::size_t i = m_program->functions.size(); i-- > 0;) {
            Function& f = m_program->functions[i];
            if (!(f.generic && f.generic->source != i) && work(f))
                return true;
        }
        return false;
    }

    bool grid(Program& p) {
        if (p.height > 1 && isTurn())
            return (p.height = 1, true);
        for (const std::uint32_t width : {1u, p.width / 2, p.width - 1})
            if (width > 0 && width < p.width && isTurn())
                return (p.width = width, true);
        return false;
    }

    static bool jumps(const std::vector<Stmt>& body) {
        return std::ranges::any_of(body, [](const Stmt& s) {
            return s.verb == Verb::Break || s.verb == Verb::Continue ||
                   std::ranges::any_of(s.bodies, jumps);
        });
    }

    /// A lambda stays where it is: there may be calls.
    static bool hasLambda(std::span<const Stmt> statements) {
        return std::ranges::count(statements, Verb::Lambda, &Stmt::verb) > 0;
    }

    bool statements(Function& f, std::vector<Stmt>& body) {
        for (std::size_t size = body.size(); size > 0; size /= 2)
            for (std::size_t first = 0; first + size <= body.size(); first += size)
                if (!hasLambda(std::span(body).subspan(first, size)) && isTurn()) {
                    const auto begin = body.begin() + static_cast<std::ptrdiff_t>(first);
                    body.erase(begin, begin + static_cast<std::ptrdiff_t>(size));
                    return true;
                }
        for (std::size_t i = 0; i < body.size(); ++i)
            for (auto& inner : body[i].bodies) {
                if (!inner.empty() && !jumps(inner) && isTurn()) {
                    const std::vector<Stmt> kept = std::move(inner);
                    const auto at = body.erase(body.begin() + static_cast<std::ptrdiff_t>(i));
                    body.insert(at, kept.begin(), kept.end());
                    return true;
                }
                if (statements(f, inner))
                    return true;
            }
        return false;
    }

    bool expressions(std::vector<Stmt>& body) {
        for (Stmt& s : body) {
            for (std::size_t i = 0; i < s.exprs.size(); ++i)
                if (needsPlace(s, i) ? place(s.exprs[i]) : expression(s.exprs[i]))
                    return true;
            for (auto& inner : s.bodies)
                if (expressions(inner))
                    return true;
        }
        return false;
    }

    /// Whether the statement needs a place there and not just a value.
    bool needsPlace(const Stmt& s, std::size_t index) const {
        if (s.verb == Verb::Assign || s.verb == Verb::Exchange || s.verb == Verb::Together ||
            s.verb == Verb::Gather)
            return index == 0;
        if (s.verb == Verb::Point || s.verb == Verb::Step)
            return index < 2;
        if (s.verb != Verb::Call)
            return false;
        if (s.compound && index == 0)
            return true;
        const Function& callee = m_program->functions[s.which];
        const Variable& v = callee.variables[index - (s.compound ? 1 : 0) + callee.captured()];
        return v.form != Form::Plain;
    }

    /// What remains a place: only indices change.
    bool place(Expr& e) {
        return e.op != Op::Place &&
               (place(e.args[0]) || (e.args.size() > 1 && expression(e.args[1])));
    }

    bool operands(Expr& e) {
        return std::ranges::any_of(e.args, [&](Expr& argument) { return expression(argument); });
    }

    /// What keeps an index within its bounds, and what must stay within some by itself.
    static bool isBound(const Expr& e) {
        return e.op == Op::Binary && (e.which == Remainder || e.which == And) &&
               e.args[1].op == Op::Literal;
    }
    static bool hasBounds(const Expr& e) { return e.op == Op::Input && e.integer != 0; }

    bool literal(Expr& e) {
        if (e.op == Op::Literal || !e.type.isCopyable())
            return false;
        for (const int number : {0, 1})
            if ((number == 0 || e.type.isNumbers()) && isTurn()) {
                Expr made;
                made.type = e.type;
                made.integer = number;
                made.number = number;
                made.range = standardRange(e.type.scalar);
                e = std::move(made);
                return true;
            }
        return false;
    }

    bool expression(Expr& e) {
        if (literal(e))
            return true;
        if (hasBounds(e))
            return literal(e.args[0]);
        if (isPlace(e))
            return place(e);
        for (Expr& argument : e.args)
            if (!isBound(e) && argument.type == e.type && argument.range.bound <= e.range.bound &&
                argument.range.granule >= e.range.granule && isTurn()) {
                Expr kept = std::move(argument);
                e = std::move(kept);
                return true;
            }
        return operands(e);
    }

    std::size_t m_left;
    Program* m_program = nullptr;
};

} // namespace

Program shrink(Program program, const std::function<bool(const Program&)>& fails) {
    for (bool smaller = true; smaller;) {
        smaller = false;
        for (std::size_t number = 0;;) {
            Program candidate = program;
            if (!Edit(number).apply(candidate))
                break;
            if (fails(candidate)) {
                program = std::move(candidate);
                smaller = true;
            } else {
                ++number;
            }
        }
    }
    return program;
}

} // namespace fuzz
