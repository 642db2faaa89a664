// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Evaluator.h"

#include "bench/fuzz/Library.h"
#include "bench/fuzz/Random.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace fuzz {
namespace {

using Value = std::array<Cell, 4>;

constexpr unsigned maxSteps = 20'000; ///< statements and calls of one thread

enum class Flow : std::uint8_t { Next, Break, Continue, Return };

struct Frame {
    const Function* function;
    std::vector<std::size_t> bases; ///< of each variable: its first cell
};

/// The cells that a place names.
struct Location {
    std::size_t base = 0;
    std::array<unsigned, 4> lanes{0, 1, 2, 3};
};

/// How much a compiler may be off in one operation, relative to operands and result, and at least.
/// Sixteen roundings of float: operations may be contracted and reordered, and functions of the
/// library promise a few units in the last place. Near zero they promise less, and denormal numbers
/// may be flushed.
struct Tolerance {
    double relative;
    double absolute;
    double largest; ///< beyond, intermediate results may overflow
};
Tolerance toleranceOf(Scalar type) {
    return type == Scalar::Half ? Tolerance{1e-3, 2e-4, 8192} : Tolerance{1e-6, 1e-6, 1e15};
}

/// The result of a rough operation: each operand is moved by its error to see what that does.
template <class Operation>
Cell roughCell(Scalar type, std::vector<Cell> operands, const Operation& operation) {
    const Tolerance tolerance = toleranceOf(type);
    std::vector<double> x;
    x.reserve(operands.size());
    for (const Cell& operand : operands)
        x.push_back(operand.number);
    Cell result;
    result.number = operation(x.data());
    result.error = tolerance.relative * std::abs(result.number) + tolerance.absolute;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double exact = x[i];
        const double error = operands[i].error + tolerance.relative * std::abs(exact);
        double deviation = 0;
        for (const double moved : {exact - error, exact + error}) {
            x[i] = moved;
            deviation = std::max(deviation, std::abs(operation(x.data()) - result.number));
        }
        x[i] = exact;
        result.error += std::isfinite(error) ? deviation : error;
    }
    if (!(std::abs(result.number) < tolerance.largest) || !std::isfinite(result.error))
        return {.number = 0, .error = std::numeric_limits<double>::infinity()};
    return result;
}

std::int64_t integerBinary(Type type, unsigned which, std::int64_t a, std::int64_t b) {
    const Scalar s = type.scalar;
    const Wide x = wide(s, a);
    const Wide y = wide(s, b);
    // Scalars are computed in int at least, vectors lane by lane in their own type.
    const unsigned width = 8 * (type.lanes > 1 ? bytesOf(s) : std::max(4u, bytesOf(s)));
    const auto amount = static_cast<unsigned>(b & (width - 1));
    switch (which) {
    case Add:
        return wrapped(s, x + y);
    case Subtract:
        return wrapped(s, x - y);
    case Multiply:
        return wrapped(s, static_cast<std::int64_t>(static_cast<std::uint64_t>(a) *
                                                    static_cast<std::uint64_t>(b)));
    case Divide:
        return y == 0 ? 0 : wrapped(s, x / y);
    case Remainder:
        return y == 0 ? 0 : wrapped(s, x % y);
    case And:
        return a & b;
    case Or:
        return a | b;
    case Xor:
        return a ^ b;
    case ShiftLeft:
        return wrapped(s, static_cast<std::int64_t>(static_cast<std::uint64_t>(a) << amount));
    default:
        return wrapped(s, x >> amount);
    }
}

double arithmetic(unsigned which, double a, double b) {
    switch (which) {
    case Add:
        return a + b;
    case Subtract:
        return a - b;
    case Multiply:
        return a * b;
    default:
        return a / b;
    }
}

template <class T>
bool compare(unsigned which, T a, T b) {
    const bool results[] = {a == b, a != b, a<b, a <= b, a> b, a >= b};
    return results[which];
}

class Machine {
public:
    Machine(const Program& program, const Inputs& inputs)
        : m_program(program),
          m_inputs(inputs),
          m_region(std::size_t{program.width} * program.height * regionBytes),
          m_counters(std::size(atomicOperations) * countersPerOperation) {}

    std::optional<Outcome> run() {
        Outcome outcome;
        for (const Variable& v : m_program.kernel().variables)
            if (v.form == Form::Output)
                outcome.outputs.emplace_back();
        for (m_y = 0; m_y < m_program.height; ++m_y)
            for (m_x = 0; m_x < m_program.width; ++m_x)
                if (!runThread(outcome))
                    return std::nullopt;
        outcome.region = std::move(m_region);
        outcome.counters = std::move(m_counters);
        return outcome;
    }

private:
    bool runThread(Outcome& outcome) {
        m_steps = 0;
        m_memory.clear();
        Frame frame{&m_program.kernel(), {}};
        allocate(frame);
        run(frame.function->body, frame);
        std::size_t output = 0;
        for (unsigned i = 0; i < frame.function->variables.size(); ++i) {
            const Variable& v = frame.function->variables[i];
            if (v.form != Form::Output)
                continue;
            const auto first = m_memory.begin() + static_cast<std::ptrdiff_t>(frame.bases[i]);
            outcome.outputs[output].insert(outcome.outputs[output].end(), first,
                                           first + static_cast<std::ptrdiff_t>(cellsOf(v)));
            ++output;
        }
        return m_steps < maxSteps;
    }

    unsigned elementCells(const Variable& v) const {
        if (v.structure < 0)
            return v.type.lanes;
        unsigned cells = 0;
        for (const Type& field : m_program.structures[static_cast<unsigned>(v.structure)].fields)
            cells += field.lanes;
        return cells;
    }
    std::size_t cellsOf(const Variable& v) const {
        return std::size_t{elementCells(v)} * std::max(1u, v.count);
    }

    /// Room for all variables; pointers point at the variable before them.
    void allocate(Frame& frame) {
        for (const Variable& v : frame.function->variables) {
            frame.bases.push_back(m_memory.size());
            const bool isAddress = v.form == Form::Pointer || v.form == Form::Reference;
            m_memory.resize(m_memory.size() + (isAddress ? 1 : cellsOf(v)));
            if (v.form == Form::Pointer && frame.bases.size() > 1)
                m_memory.back().integer =
                    static_cast<std::int64_t>(frame.bases[frame.bases.size() - 2]);
        }
    }

    // Expressions

    Location locate(const Expr& e, Frame& frame) {
        const Variable& v = frame.function->variables[e.which];
        Location result;
        result.base = frame.bases[e.which];
        if (v.form == Form::Pointer || v.form == Form::Reference)
            result.base = static_cast<std::size_t>(m_memory[result.base].integer);
        if (e.indexed)
            result.base += lastElement(evaluate(e.args[0], frame), v.count) * elementCells(v);
        for (int f = 0; f < e.field; ++f)
            result.base += m_program.structures[static_cast<unsigned>(v.structure)]
                               .fields[static_cast<unsigned>(f)]
                               .lanes;
        if (e.args.size() > (e.indexed ? 1u : 0u))
            result.lanes[0] = static_cast<unsigned>(evaluate(e.args.back(), frame)[0].integer);
        std::ranges::copy(e.lanes, result.lanes.begin());
        return result;
    }

    static std::size_t lastElement(const Value& index, std::size_t count) {
        return std::min(static_cast<std::size_t>(index[0].integer), count - 1);
    }

    Value load(const Location& location, unsigned lanes) const {
        Value result;
        for (unsigned i = 0; i < lanes; ++i)
            result[i] = m_memory[location.base + location.lanes[i]];
        return result;
    }
    void store(const Location& location, unsigned lanes, const Value& value) {
        for (unsigned i = 0; i < lanes; ++i)
            m_memory[location.base + location.lanes[i]] = value[i];
    }

    static Cell convert(Type to, Type from, const Cell& c) {
        if (to.scalar == Scalar::Bool)
            return {.integer = isFloating(from.scalar) ? c.number != 0 : c.integer != 0};
        if (isFloating(to.scalar)) {
            const double number = isFloating(from.scalar)
                                      ? c.number
                                      : static_cast<double>(wide(from.scalar, c.integer));
            if (!to.rough)
                return {.number = number};
            return roughCell(to.scalar, {{.number = number, .error = c.error}},
                             [](const double* x) { return x[0]; });
        }
        return {.integer = isFloating(from.scalar)
                               ? converted(to.scalar, c.number)
                               : wrapped(to.scalar, wide(from.scalar, c.integer))};
    }

    static Value bits(Type to, Type from, const Value& v) {
        std::uint64_t pattern = 0;
        const unsigned fromBits = 8 * bytesOf(from.scalar);
        if (from.lanes == to.lanes) {
            Value result;
            for (unsigned i = 0; i < to.lanes; ++i)
                result[i].integer = wrapped(to.scalar, v[i].integer);
            return result;
        }
        for (unsigned i = 0; i < from.lanes; ++i)
            pattern |= (static_cast<std::uint64_t>(v[i].integer) & ((1ull << fromBits) - 1))
                       << (i * fromBits);
        return {Cell{.integer = wrapped(to.scalar, Wide(pattern))}};
    }

    static Cell binary(Type type, unsigned which, const Cell& a, const Cell& b) {
        if (!isFloating(type.scalar))
            return {.integer = integerBinary(type, which, a.integer, b.integer)};
        if (!type.rough)
            return {.number = arithmetic(which, a.number, b.number)};
        return roughCell(type.scalar, {a, b},
                         [&](const double* x) { return arithmetic(which, x[0], x[1]); });
    }

    static Cell unary(Type type, unsigned which, const Value& v, unsigned lane, unsigned lanes) {
        const auto isSet = [](const Cell& c) { return c.integer != 0; };
        switch (which) {
        case Negate:
            if (isFloating(type.scalar))
                return {.number = -v[lane].number, .error = v[lane].error};
            return {.integer = wrapped(type.scalar, -Wide(v[lane].integer))};
        case Complement:
            return {.integer = wrapped(type.scalar, ~Wide(v[lane].integer))};
        case Not:
            return {.integer = v[lane].integer == 0};
        case Any:
            return {.integer = std::any_of(v.begin(), v.begin() + lanes, isSet)};
        default:
            return {.integer = std::all_of(v.begin(), v.begin() + lanes, isSet)};
        }
    }

    static bool compareCells(Type type, unsigned which, const Cell& a, const Cell& b) {
        if (isFloating(type.scalar))
            return compare(which, a.number, b.number);
        return compare(which, wide(type.scalar, a.integer), wide(type.scalar, b.integer));
    }

    Cell input(unsigned buffer, const Value& at) const {
        const double number =
            m_inputs.buffers[buffer][static_cast<std::size_t>(at[0].integer) % inputCount];
        if (isFloating(inputTypes[buffer].scalar))
            return {.number = number};
        return {.integer = static_cast<std::int64_t>(number)};
    }

    std::uint8_t* own() {
        return &m_region[(std::size_t{m_y} * m_program.width + m_x) * regionBytes];
    }

    Value thread(unsigned which) const {
        const std::uint32_t values[] = {m_x, m_y, m_program.width, m_program.height};
        return {Cell{.integer = values[which]}};
    }

    /// Channels that the texture lacks are 0, the fourth is 1.
    double texel(std::int64_t x, std::int64_t y, unsigned channel) const {
        const Texture& t = m_program.texture;
        if (channel >= t.channels)
            return channel == 3 ? 255 : 0;
        return m_inputs
            .pixels[(static_cast<std::size_t>(y) * t.width + static_cast<std::size_t>(x)) *
                        t.channels +
                    channel];
    }

    Value texels(const Value& x, const Value& y) const {
        Value result;
        const bool inside =
            x[0].integer < m_program.texture.width && y[0].integer < m_program.texture.height;
        for (unsigned i = 0; i < 4; ++i)
            result[i].integer =
                inside ? static_cast<std::int64_t>(texel(x[0].integer, y[0].integer, i)) : 0;
        return result;
    }

    double filtered(const double* at, unsigned channel) const {
        const Texture& t = m_program.texture;
        std::int64_t texels[2][2];
        double fractions[2];
        const std::uint32_t sizes[] = {t.width, t.height};
        for (int axis = 0; axis < 2; ++axis) {
            const double coordinate = t.repeats ? at[axis] - std::floor(at[axis]) : at[axis];
            const double p = std::clamp(coordinate * sizes[axis], -2.0, sizes[axis] + 2.0) - 0.5;
            fractions[axis] = p - std::floor(p);
            const auto size = static_cast<std::int64_t>(sizes[axis]);
            for (int k = 0; k < 2; ++k) {
                const auto i = static_cast<std::int64_t>(std::floor(p)) + k;
                texels[axis][k] =
                    t.repeats ? (i + size) % size : std::clamp<std::int64_t>(i, 0, size - 1);
            }
        }
        const auto row = [&](int k) {
            return std::lerp(texel(texels[0][0], texels[1][k], channel),
                             texel(texels[0][1], texels[1][k], channel), fractions[0]);
        };
        return std::lerp(row(0), row(1), fractions[1]) / 255;
    }

    Value callPlain(const Expr& e, Frame& frame) {
        std::vector<Value> arguments;
        arguments.reserve(e.args.size());
        for (const Expr& argument : e.args)
            arguments.push_back(evaluate(argument, frame));
        const Function& callee = m_program.functions[e.which];
        return enter(callee, [&](Frame& inner) {
            for (unsigned i = 0; i < callee.parameters; ++i)
                store({.base = inner.bases[i]}, callee.variables[i].type.lanes, arguments[i]);
        });
    }

    template <class SetArguments>
    Value enter(const Function& callee, const SetArguments& setArguments) {
        const std::size_t top = m_memory.size();
        Frame inner{&callee, {}};
        allocate(inner);
        setArguments(inner);
        const Value result = run(callee.body, inner) == Flow::Return ? m_result : Value{};
        m_memory.resize(top);
        return result;
    }

    Value evaluate(const Expr& e, Frame& frame) {
        switch (e.op) {
        case Op::Literal: {
            Value v;
            v.fill({.integer = e.integer, .number = e.number});
            return v;
        }
        case Op::Thread:
            return thread(e.which);
        case Op::Place:
            return load(locate(e, frame), e.type.lanes);
        case Op::Logic: {
            const Value first = evaluate(e.args[0], frame);
            const bool decided = (first[0].integer != 0) == (e.which == 1);
            return decided ? first : evaluate(e.args[1], frame);
        }
        case Op::Choose:
            if (e.args[0].type.lanes == 1)
                return evaluate(e.args[evaluate(e.args[0], frame)[0].integer != 0 ? 1 : 2], frame);
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

    Value operation(const Expr& e, const std::vector<Value>& args) {
        switch (e.op) {
        case Op::Input:
            return {input(e.which, args[0])};
        case Op::Pick:
            return {input(args[0][0].integer != 0 ? 0 : 1, args[1])};
        case Op::Table:
            return {Cell{.integer = m_program.table[lastElement(args[0], m_program.table.size())]}};
        case Op::Peek: {
            Value v{};
            for (unsigned i = 0; i < e.integer; ++i)
                v[0].integer |= std::int64_t{own()[args[0][0].integer + i]} << (8 * i);
            return v;
        }
        case Op::Bits:
            return bits(e.type, e.args[0].type, args[0]);
        case Op::Texel:
            return texels(args[0], args[1]);
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
    Cell laneOf(const Expr& e, const std::vector<Value>& args, unsigned lane) const {
        const auto argument = [&](std::size_t i) { return args[i][lane]; };
        switch (e.op) {
        case Op::Unary:
            return unary(e.type, e.which, args[0], lane, e.args[0].type.lanes);
        case Op::Binary:
            return binary(e.type, e.which, argument(0), argument(1));
        case Op::Compare:
            return {.integer = compareCells(e.args[0].type, e.which, argument(0), argument(1))};
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
            return {.integer = wrapped(e.type.scalar,
                                       f.evaluate({x[0], x[1], x[2], x[3], e.type.scalar}))};
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
            return roughCell(e.type.scalar, std::move(operands),
                             roughFunctions()[e.which].evaluate);
        }
        case Op::Sample:
            return roughCell(e.type.scalar, {args[0][0], args[1][0]},
                             [&](const double* x) { return filtered(x, lane); });
        default:
            return {};
        }
    }

    static Value geometry(const Expr& e, const std::vector<Value>& args) {
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

    // Statements

    Flow run(const std::vector<Stmt>& body, Frame& frame) {
        for (const Stmt& s : body)
            if (const Flow flow = run(s, frame); flow != Flow::Next)
                return flow;
        return Flow::Next;
    }

    bool holds(const Expr& condition, Frame& frame) {
        return evaluate(condition, frame)[0].integer != 0;
    }

    Flow run(const Stmt& s, Frame& frame) {
        if (++m_steps >= maxSteps)
            return Flow::Return;
        switch (s.verb) {
        case Verb::Assign:
            assign(s, frame);
            return Flow::Next;
        case Verb::If:
            return run(s.bodies[holds(s.exprs[0], frame) ? 0 : 1], frame);
        case Verb::For:
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
                m_result = evaluate(s.exprs[0], frame);
            return Flow::Return;
        case Verb::Call:
            call(s, frame);
            return Flow::Next;
        case Verb::Point: {
            const bool second = s.exprs.size() > 2 && !holds(s.exprs[2], frame);
            m_memory[frame.bases[s.which]].integer =
                static_cast<std::int64_t>(locate(s.exprs[second ? 1 : 0], frame).base);
            return Flow::Next;
        }
        case Verb::Poke: {
            const auto at = evaluate(s.exprs[0], frame)[0].integer;
            const auto value = evaluate(s.exprs[1], frame)[0].integer;
            for (unsigned i = 0; i < s.limit; ++i)
                own()[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
            return Flow::Next;
        }
        case Verb::Atomic:
            atomic(s, frame);
            return Flow::Next;
        }
        return Flow::Next;
    }

    void assign(const Stmt& s, Frame& frame) {
        const Expr& target = s.exprs[0];
        Value value = evaluate(s.exprs[1], frame);
        const Location location = locate(target, frame);
        if (s.compound) {
            const Value before = load(location, target.type.lanes);
            for (unsigned i = 0; i < target.type.lanes; ++i)
                value[i] = binary(target.type, s.which, before[i], value[i]);
        }
        store(location, target.type.lanes, value);
    }

    Flow loop(const Stmt& s, Frame& frame) {
        const auto counter = [&]() -> std::int64_t& {
            return m_memory[frame.bases[s.which]].integer;
        };
        counter() = 0;
        const auto goesOn = [&] {
            if (s.verb == Verb::For)
                return counter() < evaluate(s.exprs[0], frame)[0].integer;
            const std::int64_t count = s.verb == Verb::While ? counter()++ : ++counter();
            return count < s.limit && holds(s.exprs[0], frame);
        };
        bool enters = s.verb == Verb::DoWhile || goesOn();
        for (; enters; enters = goesOn()) {
            const Flow flow = run(s.bodies[0], frame);
            if (flow == Flow::Return || m_steps >= maxSteps)
                return Flow::Return;
            if (flow == Flow::Break)
                break;
            if (s.verb == Verb::For)
                ++counter();
        }
        return Flow::Next;
    }

    Flow choose(const Stmt& s, Frame& frame) {
        const auto selector = evaluate(s.exprs[0], frame)[0].integer & 7;
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

    void call(const Stmt& s, Frame& frame) {
        const Function& callee = m_program.functions[s.which];
        const unsigned first = s.compound ? 1 : 0;
        std::vector<std::vector<Cell>> arguments;
        for (unsigned i = 0; i < callee.parameters; ++i) {
            const Variable& parameter = callee.variables[i];
            const Expr& argument = s.exprs[first + i];
            if (parameter.form != Form::Plain) {
                const auto base = static_cast<std::int64_t>(locate(argument, frame).base);
                arguments.push_back({Cell{.integer = base}});
            } else if (parameter.structure >= 0) {
                const auto from =
                    m_memory.begin() + static_cast<std::ptrdiff_t>(locate(argument, frame).base);
                arguments.emplace_back(from, from + elementCells(parameter));
            } else {
                const Value value = evaluate(argument, frame);
                arguments.emplace_back(value.begin(), value.begin() + parameter.type.lanes);
            }
        }
        const Value result = enter(callee, [&](Frame& inner) {
            for (unsigned i = 0; i < callee.parameters; ++i)
                std::ranges::copy(arguments[i],
                                  m_memory.begin() + static_cast<std::ptrdiff_t>(inner.bases[i]));
        });
        if (s.compound)
            store(locate(s.exprs[0], frame), s.exprs[0].type.lanes, result);
    }

    void atomic(const Stmt& s, Frame& frame) {
        const auto at = static_cast<std::size_t>(evaluate(s.exprs[0], frame)[0].integer);
        const auto x = static_cast<std::uint32_t>(evaluate(s.exprs[1], frame)[0].integer);
        std::uint32_t& c = m_counters[std::size_t{s.which} * countersPerOperation + at];
        const std::uint32_t results[] = {c + x, c - x,          c & x,         c | x,
                                         c ^ x, std::min(c, x), std::max(c, x)};
        c = results[s.which];
    }

    const Program& m_program;
    const Inputs& m_inputs;
    std::vector<std::uint8_t> m_region;
    std::vector<std::uint32_t> m_counters;
    std::vector<Cell> m_memory; ///< of one thread: the variables of all active functions
    Value m_result;
    std::uint32_t m_x = 0;
    std::uint32_t m_y = 0;
    unsigned m_steps = 0;
};

} // namespace

Inputs::Inputs(const Program& program) {
    Random random(program.seed ^ 0x5eed);
    for (unsigned i = 0; i < std::size(inputTypes); ++i)
        for (unsigned k = 0; k < inputCount; ++k) {
            const Scalar type = inputTypes[i].scalar;
            const double bound = standardRange(type).bound;
            buffers[i].push_back(
                isFloating(type)
                    ? static_cast<double>(random.below(static_cast<unsigned>(2 * bound))) - bound
                    : static_cast<double>(wrapped(type, Wide(random.next() >> random.below(64)))));
        }
    pixels.resize(std::size_t{program.texture.width} * program.texture.height *
                  program.texture.channels);
    for (std::uint8_t& pixel : pixels)
        pixel = static_cast<std::uint8_t>(random.next());
}

std::optional<Outcome> evaluate(const Program& program, const Inputs& inputs) {
    return Machine(program, inputs).run();
}

} // namespace fuzz
