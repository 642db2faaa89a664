// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Generator.h"

#include "bench/fuzz/Collectives.h"
#include "bench/fuzz/ExpressionGenerator.h"
#include "bench/fuzz/Generics.h"
#include "bench/fuzz/Nodes.h"

#include <algorithm>
#include <ranges>

namespace fuzz {
namespace {

constexpr unsigned maxParameters = 3;
constexpr unsigned maxStructures = 3;
constexpr unsigned maxVariableCells = 40;
/// Arrays of no more elements are shown whole, others by one element.
constexpr unsigned maxShownElements = 3;

/// Where a statement stands.
struct Place {
    unsigned depth; ///< how deep further statements may nest
    bool inLoop = false;
    bool inSwitch = false; ///< the innermost of both
    unsigned loops = 0;
};

class FunctionGenerator {
public:
    FunctionGenerator(Random& random, Program& program, bool isKernel)
        : m_random(random),
          m_program(program),
          m_isKernel(isKernel),
          m_types(random, program),
          m_inputs(random),
          m_expressions(random, program, m_function, isKernel) {}

    Function helper() {
        m_function.result = m_types.copyable();
        m_function.parameters = m_random.between(1, maxParameters);
        for (unsigned i = 0; i < m_function.parameters; ++i)
            add(parameter());
        addVariables(m_random.between(1, 3));
        m_function.body = block({.depth = 2}, m_random.between(1, 4));
        m_function.body.push_back(result());
        return std::move(m_function);
    }

    Function kernel() {
        // Small programs take less time to compile, and large ones find what only shows in company.
        const unsigned size =
            m_random.percent(70) ? m_random.between(1, 5) : m_random.between(6, 14);
        addVariables(m_random.between(3, 4 + size / 2));
        for (unsigned i = m_random.between(1, 3); i > 0; --i) {
            Type type = m_types.copyable();
            if (type.scalar == Scalar::Bool && type.structure < 0)
                type.scalar = Scalar::UChar;
            add({.form = Form::Output, .type = type.arrayOf(m_random.between(1, 4), true)});
        }
        setVariables();
        addLambdas();
        const auto first = static_cast<unsigned>(m_function.body.size());
        for (Stmt& s : m_program.features.groups ? phases(size) : block({.depth = 3}, size))
            m_function.body.push_back(std::move(s));
        addCalls(first);
        showVariables();
        return std::move(m_function);
    }

    /// Of the kernel's variables, some are captured; the rest is as in a helper.
    Function lambda(const Function& kernel) {
        m_function.isLambda = true;
        for (unsigned i = m_random.between(1, 3); i > 0; --i) {
            const unsigned which = m_random.below(kernel.variables.size());
            const Variable& v = kernel.variables[which];
            if (v.form != Form::Plain || std::ranges::count(m_function.captures, which) > 0)
                continue;
            const bool isCopy = v.isUniform || m_random.percent(50);
            add({.form = isCopy ? Form::Capture : Form::Reference, .type = v.type});
            m_function.captures.push_back(which);
            m_function.isPlain = m_function.isPlain && isCopy;
        }
        m_function.result = m_types.copyable();
        for (unsigned i = m_random.below(3); i > 0; --i)
            add(parameter());
        m_function.parameters = static_cast<unsigned>(m_function.variables.size());
        addVariables(m_random.between(1, 2));
        m_function.body = block({.depth = 2}, m_random.between(1, 3));
        m_function.body.push_back(result());
        return std::move(m_function);
    }

private:
    /// They see none of each other.
    void addLambdas() {
        std::vector<Function> lambdas;
        for (unsigned i = m_random.percent(50) ? m_random.between(1, 2) : 0; i > 0; --i)
            lambdas.push_back(FunctionGenerator(m_random, m_program, false).lambda(m_function));
        for (Function& lambda : lambdas) {
            m_function.body.push_back(
                {.verb = Verb::Lambda, .which = static_cast<unsigned>(m_program.functions.size())});
            m_program.functions.push_back(std::move(lambda));
        }
    }

    /// Lambdas and instances of templates would seldom be called by chance.
    void addCalls(unsigned first) {
        for (unsigned i = 0; i < m_program.functions.size(); ++i) {
            const Function& f = m_program.functions[i];
            if (!f.isLambda && !f.generic)
                continue;
            for (unsigned k = m_random.below(3); k > 0; --k)
                if (auto made = callOf(i))
                    m_function.body.insert(m_function.body.begin() + first +
                                               m_random.below(m_function.body.size() - first + 1),
                                           *std::move(made));
        }
    }

    unsigned add(Variable variable) {
        m_function.variables.push_back(variable);
        return static_cast<unsigned>(m_function.variables.size() - 1);
    }

    Variable parameter() {
        const unsigned kind = m_random.below(10);
        const Form form = kind < 3 ? Form::Reference : kind < 5 ? Form::Pointer : Form::Plain;
        Variable v{.form = form, .type = m_types.copyable()};
        if (form != Form::Plain && m_random.percent(60))
            v.type = m_types.any(maxVariableCells);
        if (!isPointable(v))
            v.form = Form::Reference;
        m_function.isPlain = m_function.isPlain && v.form == Form::Plain;
        return v;
    }

    /// Pointers to arrays of arrays are spelt in a way of their own, which few people know.
    static bool isPointable(const Variable& v) {
        return v.type.isCopyable() || v.type.element().isCopyable();
    }

    void addVariables(unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            Variable v{.type = m_types.any(maxVariableCells)};
            v.isUniform = m_isKernel && v.type.isNumbers() && m_random.percent(20);
            add(v);
            // A pointer starts out pointing at the variable before it, or at its first elements.
            if (isPointable(v) && m_random.percent(25))
                add({.form = Form::Pointer, .type = pointedAt(v.type)});
        }
    }

    Type pointedAt(Type type) {
        const bool isRow = !type.isNumbers() && !type.isStructure();
        if (!isRow || type.count() < 2 || (type.isCopyable() && m_random.percent(50)))
            return type;
        return type.element().isArray()
                   ? type
                   : type.element().arrayOf(m_random.between(2, type.count()), false);
    }

    /// Gives the kernel's variables something to start with that differs between threads.
    void setVariables() {
        std::vector<Part> parts = findParts(m_program, m_function, Use::Assign, false,
                                            [](Type type) { return type.isNumbers(); });
        std::erase_if(parts, [&](const Part& part) {
            return m_function.variables[part.variable].form != Form::Plain;
        });
        for (const Part& part : parts)
            if (part.path.empty() || m_random.percent(75))
                m_function.body.push_back(part.path.empty() || m_random.percent(30) ? setOne(part)
                                                                                    : setAll(part));
    }

    Stmt setOne(const Part& part) {
        const bool isUniform = m_function.variables[part.variable].isUniform;
        Expr start = isUniform              ? uniform(part.type)
                     : m_random.percent(80) ? m_inputs.numbers(part.type.unpacked())
                                            : value(part.type);
        return {.verb = Verb::Assign,
                .exprs = {m_expressions.place(part, 1, Use::Assign), std::move(start)}};
    }

    /// All elements, in a loop or several within each other.
    Stmt setAll(const Part& part) {
        constexpr Type type{Scalar::UInt};
        std::vector<Stmt> loops;
        Expr counter = whole(type, 0);
        Expr target = m_expressions.place(part, [&](Type array) {
            counter = node(Op::Place, type, add({.form = Form::Counter, .type = type}), {});
            loops.push_back(
                {.verb = Verb::For, .which = counter.which, .exprs = {whole(type, array.count())}});
            return counter;
        });
        Stmt result{.verb = Verb::Assign,
                    .exprs = {std::move(target), m_inputs.numbers(part.type.unpacked(), counter)}};
        for (Stmt& loop : loops | std::views::reverse) {
            loop.bodies.push_back({std::move(result)});
            result = std::move(loop);
        }
        return result;
    }

    std::vector<Stmt> block(Place place, unsigned count) {
        std::vector<Stmt> statements;
        statements.reserve(count);
        for (unsigned i = 0; i < count; ++i)
            statements.push_back(statement(place));
        return statements;
    }

    /// Statements of which some need all threads of a group, or those that get there. All threads
    /// stay until the end.
    std::vector<Stmt> phases(unsigned count) {
        std::vector<Stmt> statements;
        for (unsigned i = 0; i < count; ++i) {
            const unsigned kind = m_random.below(20);
            std::optional<Stmt> made;
            if (kind < 4)
                made = exchange();
            else if (kind < 9)
                made = together(true);
            else if (kind < 11)
                made = divergence();
            else if (kind < 13 && count > 1)
                made = phaseLoop(count / 2);
            statements.push_back(made ? *std::move(made) : statement({.depth = 2}));
        }
        return statements;
    }

    std::optional<Expr> anywhere(Type type) {
        auto target = m_expressions.place(type, 2, Use::Assign);
        if (target && m_function.variables[variableOf(*target)].isUniform)
            return std::nullopt;
        return target;
    }

    std::optional<Stmt> exchange() {
        const Type type = m_random.percent(75) ? m_types.numbers() : assignable().unpacked();
        auto target = anywhere(type);
        if (!target || target->type != type)
            return std::nullopt;
        Stmt s{.verb = Verb::Exchange, .which = m_exchanges++};
        s.exprs = {*std::move(target), value(type), value({Scalar::UInt})};
        return s;
    }

    std::optional<Stmt> together(bool isWhole) {
        const Stmt s{.verb = Verb::Together, .which = m_random.below(collectives().size())};
        const Together kind = collectives()[s.which].kind;
        const bool votes = kind == Together::Vote;
        const Type type{votes || m_random.percent(50) ? Scalar::UInt : Scalar::Int};
        auto target = anywhere(type);
        if (!target || (needsAll(kind) && !isWhole))
            return std::nullopt;
        Stmt made = s;
        made.exprs = {*std::move(target), value(votes ? Type{Scalar::Bool} : type)};
        if (kind == Together::Shuffle)
            made.exprs.push_back(value({Scalar::UInt}));
        if (kind == Together::Shift)
            made.limit = m_random.between(1, 20);
        return made;
    }

    Stmt divergence() {
        Stmt s{.verb = Verb::If, .exprs = {condition()}};
        s.bodies.resize(2);
        for (auto& body : s.bodies)
            for (unsigned i = m_random.between(1, 3); i > 0; --i) {
                auto made = m_random.percent(60) ? together(false) : std::nullopt;
                body.push_back(made ? *std::move(made) : statement({.depth = 1}));
            }
        return s;
    }

    Stmt phaseLoop(unsigned count) {
        constexpr Type type{Scalar::UInt};
        Stmt s{.verb = Verb::For, .exprs = {whole(type, m_random.between(1, 4))}};
        s.which = add({.form = Form::Counter, .type = type});
        s.bodies.push_back(phases(count));
        return s;
    }

    std::vector<Stmt> nested(Place place) {
        return block({place.depth - 1, place.inLoop, place.inSwitch, place.loops},
                     m_random.between(1, 3));
    }

    Expr value(Type type) { return m_expressions.value(type, m_random.between(1, 3)); }
    Expr uniform(Type type) {
        return m_expressions.uniformly([&] { return value(type); });
    }
    Expr condition() {
        return m_random.percent(20) ? uniform({Scalar::Bool}) : value({Scalar::Bool});
    }

    Stmt statement(Place place) {
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
            return guarded(place, {.verb = place.inLoop && m_random.percent(50) ? Verb::Continue
                                                                                : Verb::Break});
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

    Stmt assignment(Place where) {
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

    /// A type of something that can be assigned.
    Type assignable() {
        const auto found = findParts(m_program, m_function, Use::Assign, false,
                                     [](Type type) { return type.isCopyable(); });
        return found.empty() ? m_types.numbers() : m_random.pick(found).type;
    }

    static unsigned variableOf(const Expr& place) {
        return place.op == Op::Place ? place.which : variableOf(place.args[0]);
    }

    void makeCompound(Stmt& s) {
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

    /// A matrix is also multiplied by a number, and a vector by a matrix.
    Type operandFor(const Stmt& s) {
        const Type type = s.exprs[0].type;
        if (!type.rough || s.which != Multiply || m_random.percent(40))
            return type.isMatrix() && s.which == Multiply && type.columns != type.lanes
                       ? type.withLanes(1)
                       : type;
        if (type.isMatrix())
            return type.withLanes(1);
        return type.lanes > 1 ? type.matrixOf(type.lanes, type.lanes) : type;
    }

    /// Nothing where there is no such variable.
    std::optional<Stmt> step() {
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

    /// What leaves a loop or the function, on a condition so that something is left to do.
    Stmt guarded(Place place, Stmt jump) {
        if (place.depth == 0 && m_random.percent(20))
            return jump;
        Stmt s{.verb = Verb::If, .exprs = {condition()}};
        s.bodies.resize(2);
        s.bodies[0].push_back(std::move(jump));
        return s;
    }

    Stmt result() {
        Stmt s{.verb = Verb::Return};
        if (!m_isKernel)
            s.exprs.push_back(value(m_function.result));
        return s;
    }

    Stmt branch(Place place) {
        Stmt s{.verb = Verb::If, .exprs = {condition()}};
        s.bodies.push_back(nested(place));
        s.bodies.emplace_back();
        if (m_random.percent(50))
            s.bodies[1] = nested(place);
        return s;
    }

    Stmt loop(Place place) {
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

    /// At most about `limit` rounds, seldom many more.
    void setCounter(Stmt& s) {
        constexpr Scalar types[] = {Scalar::UInt, Scalar::UInt, Scalar::Int, Scalar::Float};
        const Type type{m_random.pick(types)};
        const unsigned rounds = m_random.percent(10) ? m_random.between(10, 40) : s.limit;
        const bool isDown = m_random.percent(30);
        // Counting down by more than one, an unsigned number would go past zero.
        const unsigned step =
            m_random.percent(70) || (isDown && type.scalar == Scalar::UInt) ? 1 : 3;
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

    Stmt choice(Place place) {
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

    std::optional<Stmt> call() {
        if (m_program.functions.empty())
            return std::nullopt;
        return callOf(m_random.below(m_program.functions.size()));
    }

    std::optional<Stmt> callOf(unsigned which) {
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

    std::optional<Expr> argumentFor(const Variable& parameter) {
        if (parameter.form == Form::Plain)
            return value(parameter.type);
        return parameter.form == Form::Pointer
                   ? m_expressions.target(parameter.type, 1)
                   : m_expressions.place(parameter.type, 1, Use::Address);
    }

    std::optional<Stmt> point() {
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

    Stmt poke() {
        Stmt s{.verb = Verb::Poke,
               .compound = m_random.percent(50),
               .limit = m_random.percent(60) ? 4u : 1u};
        s.exprs.push_back(m_expressions.index(s.limit == 4 ? regionBytes - 3 : regionBytes, 2));
        s.exprs.push_back(value({Scalar::UInt}));
        return s;
    }

    /// Every variable goes to an output in the end, so that a wrong one is seen.
    void showVariables() {
        m_firstShown = static_cast<unsigned>(m_function.variables.size());
        const std::size_t first = m_function.body.size();
        for (unsigned i = 0; i < m_firstShown; ++i)
            if (m_function.variables[i].form == Form::Plain)
                show(node(Op::Place, m_function.variables[i].type, i, {}));
        // Outputs have grown while there was more to show.
        for (Stmt& s : m_function.body | std::views::drop(first)) {
            Expr& output = s.exprs[0].args[0];
            output.type = m_function.variables[output.which].type;
        }
    }

    void show(Expr from) {
        Type type = from.type;
        if (!type.isCopyable()) {
            const bool isWhole = type.count() <= maxShownElements;
            for (unsigned i = 0; i < (isWhole ? type.count() : 1); ++i)
                show(node(Op::Element, type.element(), 0,
                          {from, isWhole ? whole({Scalar::UInt}, i)
                                         : m_expressions.index(type.count(), 1, true)}));
            return;
        }
        if (type.isNumbers() && type.scalar == Scalar::Bool) {
            type.scalar = Scalar::UChar;
            from = node(Op::Convert, type, 0, {std::move(from)});
        }
        Expr to = nextOutput(type);
        m_function.body.push_back(
            {.verb = Verb::Assign, .exprs = {std::move(to), std::move(from)}});
    }

    /// The next free element of the output that collects variables of the type.
    Expr nextOutput(Type type) {
        const Type one = type.arrayOf(1, true);
        unsigned which = m_firstShown;
        while (which < m_function.variables.size() &&
               m_function.variables[which].type.element() != type)
            ++which;
        unsigned element = 0;
        if (which < m_function.variables.size())
            element = m_function.variables[which].type.counts[0]++;
        else
            add({.form = Form::Output, .type = one});
        return node(Op::Element, type, 0,
                    {node(Op::Place, one, which, {}), whole({Scalar::UInt}, element)});
    }

    Random& m_random;
    Program& m_program;
    bool m_isKernel;
    TypeGenerator m_types;
    InputExpressions m_inputs;
    Function m_function;
    ExpressionGenerator m_expressions;
    unsigned m_firstShown = 0;
    unsigned m_exchanges = 0;
};

Texture anyTexture(Random& random) {
    Texture texture;
    if (random.percent(85))
        return texture;
    constexpr unsigned channels[] = {1, 2, 4};
    return {random.between(1, 13), random.between(1, 7), random.pick(channels), random.percent(50)};
}

/// Makes a template of the newest function where that can be one.
void addInstances(Random& random, Program& program) {
    constexpr Scalar parameters[] = {Scalar::Short, Scalar::UShort, Scalar::Char,
                                     Scalar::UChar, Scalar::Long,   Scalar::ULong};
    constexpr Scalar others[] = {Scalar::Int,  Scalar::UInt,  Scalar::Short, Scalar::UShort,
                                 Scalar::Char, Scalar::UChar, Scalar::Long,  Scalar::ULong};
    const auto source = static_cast<unsigned>(program.functions.size() - 1);
    const auto isUsed = [&](Scalar s) {
        return std::ranges::any_of(program.functions[source].variables, [&](const Variable& v) {
            return v.type.structure < 0 && v.type.scalar == s;
        });
    };
    for (const Scalar from : parameters)
        if (!program.functions[source].generic && isUsed(from))
            for (unsigned i = random.between(1, 3); i > 0; --i) {
                const Scalar to = random.pick(others);
                if (to == from || !canReplace(program.functions[source], from, to))
                    continue;
                program.functions[source].generic = {source, from};
                Function copy = replaced(program.functions[source], from, to);
                copy.generic = {source, to};
                program.functions.push_back(std::move(copy));
            }
}

} // namespace

Program generate(std::uint64_t seed, Features features) {
    Random random(seed * 0x10001 + 1);
    Program program;
    program.seed = seed;
    program.width = random.between(1, maxWidth);
    program.height = random.percent(50) ? 1 : random.between(2, 5);
    program.features = features;
    constexpr std::uint32_t groups[] = {16, 32, 64};
    if (features.groups)
        program.group = random.pick(groups);
    program.texture = anyTexture(random);
    for (unsigned i = random.between(3, 11); i > 0; --i)
        program.table.push_back(static_cast<std::int32_t>(random.next() >> random.between(32, 60)));
    for (unsigned i = random.below(maxStructures + 1); i > 0; --i) {
        Structure structure = TypeGenerator(random, program).structure();
        if (!structure.fields.empty())
            program.structures.push_back(std::move(structure));
    }
    for (unsigned i = random.below(4); i > 0; --i) {
        program.functions.push_back(FunctionGenerator(random, program, false).helper());
        addInstances(random, program);
    }
    program.functions.push_back(FunctionGenerator(random, program, true).kernel());
    return program;
}

} // namespace fuzz
