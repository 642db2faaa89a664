// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Nodes.h"

#include "bench/fuzz/Library.h"

#include <algorithm>
#include <cmath>

namespace fuzz {

Expr node(Op op, Type type, unsigned which, std::vector<Expr> args) {
    Expr e;
    e.op = op;
    e.type = type;
    e.which = which;
    e.args = std::move(args);
    return e;
}

Expr whole(Type type, std::int64_t value) {
    Expr e = node(Op::Literal, type, 0, {});
    e.integer = value;
    return e;
}

Expr number(Type type, double value) {
    Expr e = node(Op::Literal, type, 0, {});
    e.number = value;
    e.range = standardRange(type.scalar);
    return e;
}

bool fits(Scalar type, Range range) {
    const bool isHalf = type == Scalar::Half;
    return std::log2(range.bound) - range.granule <= (isHalf ? 10 : 22) &&
           range.bound <= (isHalf ? 16384.0 : 1e12) && range.granule >= (isHalf ? -8 : -20);
}

Range sumRange(const Range& a, const Range& b) {
    return {a.bound + b.bound, std::min(a.granule, b.granule)};
}

Expr normalised(Expr e) {
    const Range standard = standardRange(e.type.scalar);
    if (e.range.bound <= standard.bound && e.range.granule >= standard.granule)
        return e;
    const Type type = e.type;
    Expr whole = node(Op::Exact, type, numberOf(exactFunctions(), "floor"), {std::move(e)});
    Expr result =
        node(Op::Exact, type, numberOf(exactFunctions(), "clamp"),
             {std::move(whole), number(type, -standard.bound), number(type, standard.bound)});
    result.range = standard;
    return result;
}

} // namespace fuzz
