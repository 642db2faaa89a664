// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Cells.h"

#include "bench/fuzz/Library.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace fuzz {
namespace {

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
bool compareNumbers(unsigned which, T a, T b) {
    const bool results[] = {a == b, a != b, a<b, a <= b, a> b, a >= b};
    return results[which];
}

} // namespace

Cell roughCell(Scalar type, const std::vector<Cell>& operands,
               const std::function<double(const double*)>& operation, double wave) {
    constexpr Cell unknown{.error = std::numeric_limits<double>::infinity()};
    const Tolerance tolerance = toleranceOf(type);
    std::vector<double> x;
    x.reserve(operands.size());
    for (const Cell& operand : operands)
        x.push_back(operand.number);
    Cell result{.number = operation(x.data())};
    result.error = tolerance.relative * std::abs(result.number) + tolerance.absolute;
    // One operand after the other goes to both ends of what it may be, and stays at the outer one:
    // where values have cancelled each other out, the product of two errors counts as well.
    std::vector<double> nearZero = x;
    double before = result.number;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double reach = operands[i].error + tolerance.relative * std::abs(x[i]);
        if (reach > wave)
            return unknown;
        if (reach >= std::abs(x[i]))
            nearZero[i] = 0;
        const double outwards = std::copysign(reach, x[i]);
        x[i] = operands[i].number - outwards;
        const double inner = operation(x.data());
        x[i] = operands[i].number + outwards;
        const double outer = operation(x.data());
        if (!std::isfinite(inner) || !std::isfinite(outer))
            return unknown;
        result.error += std::max(std::abs(inner - before), std::abs(outer - before));
        before = outer;
    }
    // Both ends may be well where between them something is divided by zero.
    if (!std::isfinite(operation(nearZero.data())))
        return unknown;
    return std::abs(result.number) + result.error < tolerance.largest ? result : unknown;
}

Cell convert(Type to, Type from, const Cell& c) {
    if (to.scalar == Scalar::Bool)
        return {.integer = isFloating(from.scalar) ? c.number != 0 : c.integer != 0};
    if (isFloating(to.scalar)) {
        const double number =
            isFloating(from.scalar) ? c.number : static_cast<double>(wide(from.scalar, c.integer));
        if (!to.rough)
            return {.number = to.scalar == Scalar::Half
                                  ? static_cast<double>(static_cast<_Float16>(number))
                                  : number};
        return roughCell(to.scalar, {{.number = number, .error = c.error}},
                         [](const double* x) { return x[0]; });
    }
    return {.integer = isFloating(from.scalar) ? converted(to.scalar, c.number)
                                               : wrapped(to.scalar, wide(from.scalar, c.integer))};
}

Value bits(Type to, Type from, const Value& v) {
    const unsigned fromBits = 8 * bytesOf(from.scalar);
    const unsigned toBits = 8 * bytesOf(to.scalar);
    Value result(to.lanes);
    for (unsigned i = 0; i < to.lanes * toBits; ++i) {
        const Cell& c = v[i / fromBits];
        const std::uint64_t pattern =
            isFloating(from.scalar) ? std::bit_cast<std::uint32_t>(static_cast<float>(c.number))
                                    : static_cast<std::uint64_t>(c.integer);
        result[i / toBits].integer |=
            static_cast<std::int64_t>((pattern >> (i % fromBits) & 1) << (i % toBits));
    }
    for (Cell& c : result)
        c.integer = wrapped(to.scalar, c.integer);
    return result;
}

Cell binary(Type type, unsigned which, const Cell& a, const Cell& b) {
    if (!isFloating(type.scalar))
        return {.integer = integerBinary(type, which, a.integer, b.integer)};
    if (!type.rough)
        return {.number = arithmetic(which, a.number, b.number)};
    return roughCell(type.scalar, {a, b},
                     [&](const double* x) { return arithmetic(which, x[0], x[1]); });
}

Cell unary(Type type, unsigned which, const Value& v, unsigned lane) {
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
        return {.integer = std::ranges::any_of(v, isSet)};
    default:
        return {.integer = std::ranges::all_of(v, isSet)};
    }
}

bool compare(Type type, unsigned which, const Cell& a, const Cell& b) {
    if (isFloating(type.scalar))
        return compareNumbers(which, a.number, b.number);
    return compareNumbers(which, wide(type.scalar, a.integer), wide(type.scalar, b.integer));
}

} // namespace fuzz
