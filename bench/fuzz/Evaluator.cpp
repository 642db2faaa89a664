// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Evaluator.h"

#include "bench/fuzz/Collectives.h"
#include "bench/fuzz/Expressions.h"
#include "bench/fuzz/Library.h"
#include "bench/fuzz/Matrices.h"

#include <algorithm>
#include <string_view>

namespace fuzz {
namespace {

constexpr unsigned maxSteps = 20'000; ///< statements and calls of one thread

enum class Flow : std::uint8_t { Next, Break, Continue, Return };

/// Runs group after group, thread after thread where they do not wait for each other; keeps what
/// they leave behind.
class Machine {
public:
    Machine(const Program& program, const Inputs& inputs)
        : m_program(program),
          m_thread{.region = {}, .variables = Variables(program), .closures = {}},
          m_expressions(program, inputs, m_thread,
                        [this](const Function& f, const Arguments& a) { return call(f, a); }) {
        m_outcome.region.resize(std::size_t{program.width} * program.height * regionBytes);
        m_outcome.counters.resize(std::size(atomicOperations) * countersPerOperation);
        m_outcome.outputs.resize(static_cast<std::size_t>(
            std::ranges::count(program.kernel().variables, Form::Output, &Variable::form)));
    }

    std::optional<Outcome> run() {
        for (std::uint32_t y = 0; y < m_program.height; ++y)
            for (std::uint32_t x = 0; x < m_program.width; x += m_program.group)
                if (!runGroup(x, y))
                    return std::nullopt;
        return std::move(m_outcome);
    }

private:
    /// Threads by their place in the threadgroup.
    using Members = std::vector<std::size_t>;

    bool runGroup(std::uint32_t x, std::uint32_t y) {
        const std::uint32_t end = std::min(m_program.width, x + m_program.group);
        Frame frame;
        Members all;
        m_group.clear();
        for (std::uint32_t at = x; at < end; ++at) {
            all.push_back(m_group.size());
            m_group.push_back(
                {.x = at, .y = y, .region = {}, .variables = Variables(m_program), .closures = {}});
            Thread& thread = m_group.back();
            const std::size_t self = std::size_t{y} * m_program.width + at;
            thread.region = std::span(m_outcome.region).subspan(self * regionBytes, regionBytes);
            frame = thread.variables.enter(m_program.kernel());
        }
        m_steps = 0;
        runTogether(frame.function->body, all, frame);
        for (const std::size_t member : all)
            as(member, [&] { keepOutputs(frame); });
        return m_steps < maxSteps * all.size();
    }

    /// Does something as one of the group.
    template <class Work>
    void as(std::size_t member, const Work& work) {
        std::swap(m_thread, m_group[member]);
        work();
        std::swap(m_thread, m_group[member]);
    }

    /// What needs several threads is run by all of them before they go on; what does not, by one
    /// after the other.
    void runTogether(const std::vector<Stmt>& body, const Members& members, const Frame& frame) {
        if (std::ranges::none_of(body, isCollective)) {
            for (const std::size_t member : members)
                as(member, [&] { run(body, frame); });
            return;
        }
        for (const Stmt& s : body)
            if (isCollective(s))
                runTogether(s, members, frame);
            else
                for (const std::size_t member : members)
                    as(member, [&] { run(s, frame); });
    }

    void runTogether(const Stmt& s, const Members& members, const Frame& frame) {
        switch (s.verb) {
        case Verb::Exchange:
            return exchange(s, members, frame);
        case Verb::Together:
            return together(s, members, frame);
        case Verb::Gather:
            return gather(s, members, frame);
        case Verb::If: {
            Members sides[2];
            for (const std::size_t member : members)
                as(member, [&] {
                    sides[m_expressions.holds(s.exprs[0], frame) ? 0 : 1].push_back(member);
                });
            for (int side = 0; side < 2; ++side)
                runTogether(s.bodies[static_cast<std::size_t>(side)], sides[side], frame);
            return;
        }
        default: // a loop with as many iterations for all
            for (std::int64_t i = 0;; ++i) {
                bool goesOn = false;
                for (const std::size_t member : members)
                    as(member, [&] {
                        m_thread.variables.store({.base = frame.bases[s.which]},
                                                 {Cell{.integer = i}});
                        goesOn = i < m_expressions.integer(s.exprs[0], frame);
                    });
                if (!goesOn)
                    return;
                runTogether(s.bodies[0], members, frame);
            }
        }
    }

    void exchange(const Stmt& s, const Members& members, const Frame& frame) {
        std::vector<Value> slots;
        slots.reserve(members.size());
        for (const std::size_t member : members)
            as(member, [&] { slots.push_back(m_expressions.evaluate(s.exprs[1], frame)); });
        for (const std::size_t member : members)
            as(member, [&] {
                const auto from = m_expressions.integer(s.exprs[2], frame);
                m_thread.variables.store(m_expressions.locate(s.exprs[0], frame),
                                         slots[static_cast<std::size_t>(from) % slots.size()]);
            });
    }

    void together(const Stmt& s, const Members& members, const Frame& frame) {
        const Collective& f = collectives()[s.which];
        const unsigned width = f.kind == Together::Quad ? 4 : simdWidth;
        for (std::size_t first = 0; first < members.size();) {
            std::vector<Contribution> threads;
            std::size_t end = first;
            for (; end < members.size() && members[end] / width == members[first] / width; ++end)
                as(members[end], [&] {
                    threads.push_back({static_cast<unsigned>(members[end] % width),
                                       m_expressions.integer(s.exprs[1], frame)});
                });
            for (const Contribution& c : threads)
                as(members[first++], [&] {
                    const auto operand =
                        s.exprs.size() > 2
                            ? static_cast<unsigned>(m_expressions.integer(s.exprs[2], frame))
                            : s.limit;
                    const std::int64_t value =
                        f.evaluate(s.exprs[0].type.scalar, threads, c.lane, operand);
                    m_thread.variables.store(m_expressions.locate(s.exprs[0], frame),
                                             {Cell{.integer = value}});
                });
        }
    }

    void gather(const Stmt& s, const Members& members, const Frame& frame) {
        const Scalar type = s.exprs[1].type.scalar;
        std::int64_t word = s.start;
        for (const std::size_t member : members)
            as(member, [&] {
                word = updated(type, s.limit, word, m_expressions.integer(s.exprs[1], frame));
            });
        for (const std::size_t member : members)
            as(member, [&] {
                m_thread.variables.store(m_expressions.locate(s.exprs[0], frame),
                                         {Cell{.integer = word}});
            });
    }

    /// Of an integer of 32 bits, by an atomic operation.
    static std::int64_t updated(Scalar type, unsigned operation, std::int64_t a, std::int64_t b) {
        const std::int64_t results[] = {a + b, a - b,          a & b,         a | b,
                                        a ^ b, std::min(a, b), std::max(a, b)};
        return wrapped(type, results[operation]);
    }

    void keepOutputs(const Frame& frame) {
        auto output = m_outcome.outputs.begin();
        for (unsigned i = 0; i < frame.function->variables.size(); ++i) {
            const Variable& v = frame.function->variables[i];
            if (v.form != Form::Output)
                continue;
            const Value cells =
                m_thread.variables.load({.base = frame.bases[i]}, m_program.cellsOf(v.type));
            output->insert(output->end(), cells.begin(), cells.end());
            ++output;
        }
    }

    Value call(const Function& callee, const Arguments& arguments) {
        const Frame frame = m_thread.variables.enter(callee);
        const auto set = [&](unsigned i, const Value& value) {
            std::ranges::copy(value, &m_thread.variables.cell(frame.bases[i]));
        };
        for (unsigned i = 0; i < callee.captured(); ++i)
            set(i, m_thread.closures[&callee][i]);
        for (unsigned i = callee.captured(); i < callee.parameters; ++i)
            set(i, arguments[i - callee.captured()]);
        const bool returns = run(callee.body, frame) == Flow::Return;
        Value result = returns ? m_result : Value{};
        result.resize(m_program.cellsOf(callee.result));
        m_thread.variables.leave(frame);
        return result;
    }

    Flow run(const std::vector<Stmt>& body, const Frame& frame) {
        for (const Stmt& s : body)
            if (const Flow flow = run(s, frame); flow != Flow::Next)
                return flow;
        return Flow::Next;
    }

    Flow run(const Stmt& s, const Frame& frame) {
        if (++m_steps >= maxSteps * m_group.size())
            return Flow::Return;
        switch (s.verb) {
        case Verb::Assign:
            assign(s, frame);
            return Flow::Next;
        case Verb::Step:
            step(s, frame);
            return Flow::Next;
        case Verb::If:
            return run(s.bodies[m_expressions.holds(s.exprs[0], frame) ? 0 : 1], frame);
        case Verb::For:
            return countedLoop(s, frame);
        case Verb::While:
        case Verb::DoWhile:
            return loop(s, frame);
        case Verb::Switch:
            return choose(s, frame);
        case Verb::Break:
            return Flow::Break;
        case Verb::Continue:
            return Flow::Continue;
        case Verb::Return:
            if (!s.exprs.empty())
                m_result = m_expressions.evaluate(s.exprs[0], frame);
            return Flow::Return;
        case Verb::Call:
            call(s, frame);
            return Flow::Next;
        case Verb::Point: {
            const bool second = s.exprs.size() > 2 && !m_expressions.holds(s.exprs[2], frame);
            m_thread.variables.cell(frame.bases[s.which]).integer = static_cast<std::int64_t>(
                m_expressions.locate(s.exprs[second ? 1 : 0], frame).base);
            return Flow::Next;
        }
        case Verb::Poke: {
            const auto at = m_expressions.integer(s.exprs[0], frame);
            const auto value = m_expressions.integer(s.exprs[1], frame);
            for (unsigned i = 0; i < s.limit; ++i)
                m_thread.region[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
            return Flow::Next;
        }
        case Verb::Atomic:
            atomic(s, frame);
            return Flow::Next;
        case Verb::Exchange:
        case Verb::Together: // see runTogether()
        case Verb::Gather:
            return Flow::Next;
        case Verb::Lambda:
            capture(m_program.functions[s.which], frame);
            return Flow::Next;
        }
        return Flow::Next;
    }

    void assign(const Stmt& s, const Frame& frame) {
        const Expr& target = s.exprs[0];
        Value value = m_expressions.evaluate(s.exprs[1], frame);
        const Location location = m_expressions.locate(target, frame);
        if (s.compound)
            value = compound(s, m_thread.variables.load(location, m_program.cellsOf(target.type)),
                             value);
        m_thread.variables.store(location, value);
    }

    static Value compound(const Stmt& s, const Value& before, const Value& value) {
        const Type type = s.exprs[0].type;
        const Type other = s.exprs[1].type;
        if (type.isMatrix() || other.isMatrix())
            return matrixBinary(type, s.which, type, before, other, value);
        Value result;
        for (std::size_t i = 0; i < before.size(); ++i)
            result.push_back(binary(type, s.which, before[i], value[i]));
        return result;
    }

    void step(const Stmt& s, const Frame& frame) {
        const Type type = s.exprs[0].type;
        const Location location = m_expressions.locate(s.exprs[0], frame);
        const Value before = m_thread.variables.load(location, 1);
        const Value after{binary(type, s.step > 0 ? Add : Subtract, before[0], {.integer = 1})};
        m_thread.variables.store(location, after);
        if (s.exprs.size() > 1)
            m_thread.variables.store(m_expressions.locate(s.exprs[1], frame),
                                     s.compound ? after : before);
    }

    Flow countedLoop(const Stmt& s, const Frame& frame) {
        const Type type = frame.function->variables[s.which].type;
        const Location counter{.base = frame.bases[s.which]};
        const auto before = static_cast<unsigned>(
            std::ranges::find(compareOperators, std::string_view(s.step > 0 ? "<" : ">")) -
            compareOperators);
        for (std::int64_t i = s.start;; i += s.step) {
            const Cell cell{.integer = i, .number = static_cast<double>(i)};
            m_thread.variables.store(counter, {cell});
            if (!compare(type, before, cell, m_expressions.evaluate(s.exprs[0], frame)[0]))
                return Flow::Next;
            const Flow flow = run(s.bodies[0], frame);
            if (flow == Flow::Return || m_steps >= maxSteps * m_group.size())
                return Flow::Return;
            if (flow == Flow::Break)
                return Flow::Next;
        }
    }

    Flow loop(const Stmt& s, const Frame& frame) {
        const auto counter = [&]() -> std::int64_t& {
            return m_thread.variables.cell(frame.bases[s.which]).integer;
        };
        counter() = 0;
        const auto goesOn = [&] {
            const std::int64_t count = s.verb == Verb::While ? counter()++ : ++counter();
            return count < s.limit && m_expressions.holds(s.exprs[0], frame);
        };
        bool enters = s.verb == Verb::DoWhile || goesOn();
        for (; enters; enters = goesOn()) {
            const Flow flow = run(s.bodies[0], frame);
            if (flow == Flow::Return || m_steps >= maxSteps * m_group.size())
                return Flow::Return;
            if (flow == Flow::Break)
                break;
        }
        return Flow::Next;
    }

    Flow choose(const Stmt& s, const Frame& frame) {
        const auto selector = m_expressions.integer(s.exprs[0], frame) & 7;
        std::size_t i = 0;
        while (i + 1 < s.bodies.size() && s.labels[i] != selector)
            ++i;
        for (; i < s.bodies.size(); ++i) {
            const Flow flow = run(s.bodies[i], frame);
            if (flow == Flow::Break)
                break;
            if (flow != Flow::Next)
                return flow;
            if (!s.fallsThrough[i])
                break;
        }
        return Flow::Next;
    }

    void call(const Stmt& s, const Frame& frame) {
        const Function& callee = m_program.functions[s.which];
        const unsigned first = s.compound ? 1 : 0;
        Arguments arguments;
        for (unsigned i = callee.captured(); i < callee.parameters; ++i)
            arguments.push_back(
                argument(callee.variables[i], s.exprs[first + i - callee.captured()], frame));
        const Value result = call(callee, arguments);
        if (s.compound)
            m_thread.variables.store(m_expressions.locate(s.exprs[0], frame), result);
    }

    Value argument(const Variable& parameter, const Expr& e, const Frame& frame) {
        if (parameter.form == Form::Plain)
            return m_expressions.evaluate(e, frame);
        const std::size_t base = m_expressions.locate(e, frame).base;
        return {Cell{.integer = static_cast<std::int64_t>(base)}};
    }

    void capture(const Function& lambda, const Frame& frame) {
        Arguments& values = m_thread.closures[&lambda];
        values.clear();
        for (unsigned i = 0; i < lambda.captured(); ++i) {
            const Variable& v = lambda.variables[i];
            const std::size_t base = frame.bases[lambda.captures[i]];
            values.push_back(
                v.form == Form::Reference
                    ? Value{Cell{.integer = static_cast<std::int64_t>(base)}}
                    : m_thread.variables.load({.base = base}, m_program.cellsOf(v.type)));
        }
    }

    void atomic(const Stmt& s, const Frame& frame) {
        const auto at = static_cast<std::size_t>(m_expressions.integer(s.exprs[0], frame));
        const std::int64_t x = m_expressions.integer(s.exprs[1], frame);
        std::uint32_t& c = m_outcome.counters[std::size_t{s.which} * countersPerOperation + at];
        c = static_cast<std::uint32_t>(updated(Scalar::UInt, s.which, c, x));
    }

    const Program& m_program;
    Thread m_thread; ///< the one that runs
    std::vector<Thread> m_group;
    Expressions m_expressions;
    Outcome m_outcome;
    Value m_result; ///< of the function that has just returned
    std::size_t m_steps = 0;
};

} // namespace

std::optional<Outcome> evaluate(const Program& program, const Inputs& inputs) {
    return Machine(program, inputs).run();
}

} // namespace fuzz
