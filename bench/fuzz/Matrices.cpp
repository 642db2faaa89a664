// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Matrices.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace fuzz {
namespace {

/// How large each may be without its sign.
std::vector<Cell> magnitudes(std::vector<Cell> cells) {
    for (Cell& c : cells)
        c = {.number = std::abs(c.number) + c.error};
    return cells;
}

/// The sum of the products x[0] x[1] + x[2] x[3] + ...
Cell sumOfProducts(Type type, const std::vector<Cell>& factors) {
    const auto sum = [&](const double* x) {
        double result = 0;
        for (std::size_t i = 0; i < factors.size(); i += 2)
            result += x[i] * x[i + 1];
        return result;
    };
    if (type.rough) {
        Cell result = roughCell(type.scalar, factors, sum);
        // A product may overflow that another one would have cancelled out.
        if (!std::isfinite(roughCell(type.scalar, magnitudes(factors), sum).error))
            result.error = std::numeric_limits<double>::infinity();
        return result;
    }
    std::vector<double> numbers;
    numbers.reserve(factors.size());
    for (const Cell& factor : factors)
        numbers.push_back(factor.number);
    return {.number = sum(numbers.data())};
}

/// A vector on the left is one row, and on the right one column.
struct Shape {
    unsigned columns, rows;
};
Shape shapeOf(Type type, bool isLeft) {
    if (type.isMatrix())
        return {type.columns, type.lanes};
    return isLeft ? Shape{type.lanes, 1} : Shape{1, type.lanes};
}

Value product(Type type, Shape left, const Value& a, Shape right, const Value& b) {
    Value result;
    for (unsigned column = 0; column < right.columns; ++column)
        for (unsigned row = 0; row < left.rows; ++row) {
            std::vector<Cell> factors;
            for (unsigned i = 0; i < left.columns; ++i) {
                factors.push_back(a[i * left.rows + row]);
                factors.push_back(b[column * right.rows + i]);
            }
            result.push_back(sumOfProducts(type, factors));
        }
    return result;
}

/// By the first of `columns`, a bit each; `x` has `size` rows in each column. Without signs, how
/// large the parts of the sum are.
double leibniz(const double* x, unsigned size, unsigned row, unsigned columns, bool isSigned) {
    if (row == size)
        return 1;
    double result = 0;
    double sign = 1;
    for (unsigned c = 0; c < size; ++c) {
        if ((columns >> c & 1) == 0)
            continue;
        const double minor = leibniz(x, size, row + 1, columns & ~(1u << c), isSigned);
        const double factor = x[c * size + row];
        result += isSigned ? sign * factor * minor : std::abs(factor) * minor;
        sign = -sign;
    }
    return result;
}

} // namespace

Value diagonal(Type type, const Cell& scalar) {
    Value result(std::size_t{type.columns} * type.lanes);
    for (unsigned i = 0; i < std::min(type.columns, type.lanes); ++i)
        result[i * type.lanes + i] = scalar;
    return result;
}

Value transpose(Type from, const Value& v) {
    Value result;
    for (unsigned row = 0; row < from.lanes; ++row)
        for (unsigned column = 0; column < from.columns; ++column)
            result.push_back(v[column * from.lanes + row]);
    return result;
}

Cell determinant(Type type, const Value& v) {
    const unsigned size = type.columns;
    const unsigned all = (1u << size) - 1;
    Cell result =
        roughCell(type.scalar, v, [&](const double* x) { return leibniz(x, size, 0, all, true); });
    // Products of parts that cancel each other out are rounded before they do.
    std::vector<Cell> largest = magnitudes(v);
    const auto sizes = [&](const double* x) { return leibniz(x, size, 0, all, false); };
    result.error += roughCell(type.scalar, largest, sizes).error;
    // Factors below one, which come last, do not keep the product of the others from overflowing.
    for (Cell& c : largest)
        c.number = std::max(c.number, 1.0);
    if (!std::isfinite(roughCell(type.scalar, largest, sizes).error))
        result.error = std::numeric_limits<double>::infinity();
    return result;
}

Value matrixBinary(Type type, unsigned which, Type left, const Value& a, Type right,
                   const Value& b) {
    const bool scales = left.isNumbers() ? left.lanes == 1 : right.isNumbers() && right.lanes == 1;
    if (which == Multiply && !scales)
        return product(type, shapeOf(left, true), a, shapeOf(right, false), b);
    Value result;
    for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i)
        result.push_back(binary(type, which, a[a.size() > 1 ? i : 0], b[b.size() > 1 ? i : 0]));
    return result;
}

} // namespace fuzz
