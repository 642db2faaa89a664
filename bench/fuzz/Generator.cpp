// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Generator.h"

#include "bench/fuzz/Generics.h"
#include "bench/fuzz/GroupStatements.h"
#include "bench/fuzz/Nodes.h"
#include "bench/fuzz/StatementGenerator.h"

#include <algorithm>
#include <ranges>

namespace fuzz {
namespace {

constexpr unsigned maxParameters = 3;
constexpr unsigned maxStructures = 3;
constexpr unsigned maxVariableCells = 40;
/// Arrays of no more elements are shown whole, others by one element.
constexpr unsigned maxShownElements = 3;

class FunctionGenerator {
public:
    FunctionGenerator(Random& random, Program& program, bool isKernel)
        : m_random(random),
          m_program(program),
          m_isKernel(isKernel),
          m_types(random, program),
          m_inputs(random),
          m_statements(random, program, m_function, isKernel) {}

    Function helper() {
        m_function.result = m_types.copyable();
        m_function.parameters = m_random.between(1, maxParameters);
        for (unsigned i = 0; i < m_function.parameters; ++i)
            m_statements.add(parameter());
        addVariables(m_random.between(1, 3));
        m_function.body = m_statements.block({.depth = 2}, m_random.between(1, 4));
        m_function.body.push_back(m_statements.result());
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
            m_statements.add(
                {.form = Form::Output, .type = type.arrayOf(m_random.between(1, 4), true)});
        }
        setVariables();
        addLambdas();
        const auto first = static_cast<unsigned>(m_function.body.size());
        for (Stmt& s :
             m_program.features.groups
                 ? GroupStatements(m_random, m_program, m_function, m_statements).phases(size)
                 : m_statements.block({.depth = 3}, size))
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
            m_statements.add({.form = isCopy ? Form::Capture : Form::Reference, .type = v.type});
            m_function.captures.push_back(which);
            m_function.isPlain = m_function.isPlain && isCopy;
        }
        m_function.result = m_types.copyable();
        for (unsigned i = m_random.below(3); i > 0; --i)
            m_statements.add(parameter());
        m_function.parameters = static_cast<unsigned>(m_function.variables.size());
        addVariables(m_random.between(1, 2));
        m_function.body = m_statements.block({.depth = 2}, m_random.between(1, 3));
        m_function.body.push_back(m_statements.result());
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
                if (auto made = m_statements.callOf(i))
                    m_function.body.insert(m_function.body.begin() + first +
                                               m_random.below(m_function.body.size() - first + 1),
                                           *std::move(made));
        }
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
            m_statements.add(v);
            // A pointer starts out pointing at the variable before it, or at its first elements.
            if (isPointable(v) && m_random.percent(25))
                m_statements.add({.form = Form::Pointer, .type = pointedAt(v.type)});
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
        Expr start = isUniform              ? m_statements.uniform(part.type)
                     : m_random.percent(80) ? m_inputs.numbers(part.type.unpacked())
                                            : m_statements.value(part.type);
        return {
            .verb = Verb::Assign,
            .exprs = {m_statements.expressions().place(part, 1, Use::Assign), std::move(start)}};
    }

    /// All elements, in a loop or several within each other.
    Stmt setAll(const Part& part) {
        constexpr Type type{Scalar::UInt};
        std::vector<Stmt> loops;
        Expr counter = whole(type, 0);
        Expr target = m_statements.expressions().place(part, [&](Type array) {
            counter =
                node(Op::Place, type, m_statements.add({.form = Form::Counter, .type = type}), {});
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
                          {from, isWhole
                                     ? whole({Scalar::UInt}, i)
                                     : m_statements.expressions().index(type.count(), 1, true)}));
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
            m_statements.add({.form = Form::Output, .type = one});
        return node(Op::Element, type, 0,
                    {node(Op::Place, one, which, {}), whole({Scalar::UInt}, element)});
    }

    Random& m_random;
    Program& m_program;
    bool m_isKernel;
    TypeGenerator m_types;
    InputExpressions m_inputs;
    Function m_function;
    StatementGenerator m_statements;
    unsigned m_firstShown = 0;
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
