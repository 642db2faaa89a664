// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/InputExpressions.h"

#include "bench/fuzz/Library.h"
#include "bench/fuzz/Nodes.h"

namespace fuzz {

/// Places in a row as programs reach them: side by side, at regular distances, in reverse, rounded,
/// held at an edge or wrapped around. All are below 3 * maxWidth.
Expr InputExpressions::inRow() {
    const Type number{Scalar::UInt};
    const Type whole32{Scalar::Int};
    const Expr x = node(Op::Thread, number, 0, {});
    const Expr width = node(Op::Thread, number, 2, {});
    const Expr distance = whole(number, m_random.below(maxWidth));
    const auto binary = [](unsigned which, const Expr& a, const Expr& b) {
        return node(Op::Binary, a.type, which, {a, b});
    };
    const auto function = [](const char* name, std::vector<Expr> args) {
        const Type type = args[0].type;
        return node(Op::Integer, type, numberOf(integerFunctions(), name), std::move(args));
    };
    const auto toInt = [&](const Expr& e) { return node(Op::Convert, whole32, 0, {e}); };
    switch (m_random.below(12)) {
    case 0:
        return binary(Subtract, width, x);
    case 1:
        return binary(And, x, whole(number, 0xfffffffc));
    case 2:
        return binary(Divide, x, whole(number, m_random.between(2, 4)));
    case 3:
        return function("min", {binary(Add, x, distance), whole(number, m_random.below(maxWidth))});
    case 4:
        return binary(Subtract, function("max", {x, distance}), distance);
    case 5:
        return binary(Remainder, binary(Add, x, distance), width);
    case 6:
        return node(Op::Convert, number, 0,
                    {function("clamp", {binary(Subtract, toInt(x), toInt(distance)),
                                        whole(whole32, 0), toInt(width)})});
    default:
        return binary(Multiply, x, whole(number, m_random.between(1, 3)));
    }
}

Expr InputExpressions::at(unsigned buffer) {
    const Type number{Scalar::UInt};
    Expr e = node(Op::Input, inputTypes[buffer], buffer, {});
    e.args.push_back(node(Op::Binary, number, Add,
                          {inRow(), whole(number, m_random.below(inputCount - 3 * maxWidth))}));
    e.integer = 1;
    e.range = standardRange(e.type.scalar);
    return e;
}

Expr InputExpressions::numbers(Type type) {
    if (type.lanes > 1) {
        Expr e = node(Op::Make, type, 0, {});
        for (unsigned i = 0; i < type.lanes; ++i)
            e.args.push_back(numbers(type.withLanes(1)));
        e.range = standardRange(type.scalar);
        return e;
    }
    if (type.scalar == Scalar::Bool)
        return node(Op::Compare, type, m_random.below(std::size(compareOperators)),
                    {numbers({Scalar::Short}), numbers({Scalar::Short})});
    const Scalar other = isFloating(type.scalar) ? type.scalar : Scalar::UInt;
    const auto* source = std::ranges::find(inputTypes, type);
    if (source == std::end(inputTypes))
        source = std::ranges::find(inputTypes, Type{other});
    const Expr e = at(static_cast<unsigned>(source - std::begin(inputTypes)));
    return *source == type ? e : node(Op::Convert, type, 0, {e});
}

Expr InputExpressions::numbers(Type type, const Expr& counter) {
    if (type.scalar == Scalar::Bool)
        return numbers(type);
    if (type.lanes > 1) {
        Expr e = node(Op::Make, type, 0, {});
        for (unsigned i = 0; i < type.lanes; ++i)
            e.args.push_back(numbers(type.withLanes(1), counter));
        return e;
    }
    Expr e = node(Op::Binary, type, Add, {numbers(type), node(Op::Convert, type, 0, {counter})});
    if (!type.isExact())
        return e;
    e.range = sumRange(standardRange(type.scalar), standardRange(type.scalar));
    return normalised(std::move(e));
}

} // namespace fuzz
