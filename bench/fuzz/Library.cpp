// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Library.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace fuzz {
namespace {

Wide lowest(Scalar type) {
    return isSigned(type) ? -(Wide(1) << (8 * bytesOf(type) - 1)) : 0;
}

Wide highest(Scalar type) {
    return (Wide(1) << (8 * bytesOf(type) - (isSigned(type) ? 1 : 0))) - 1;
}

unsigned countOnes(Wide pattern) {
    unsigned ones = 0;
    for (; pattern != 0; pattern >>= 1)
        ones += pattern & 1;
    return ones;
}

unsigned widthOf(Wide pattern) {
    unsigned width = 0;
    for (; pattern != 0; pattern >>= 1)
        ++width;
    return width;
}

/// The product of two 64-bit numbers may need all 128 bits, but its upper half fits again.
Wide multiplyHigh(const Operands& o) {
    __extension__ typedef unsigned __int128 UnsignedWide;
    if (isSigned(o.type))
        return (o.a * o.b) >> o.bits();
    return static_cast<Wide>((UnsignedWide(o.a) * UnsignedWide(o.b)) >> o.bits());
}

Wide low24(Scalar type, Wide x) {
    const Wide low = x & 0xffffff;
    return isSigned(type) && low >= 0x800000 ? low - 0x1000000 : low;
}

Wide reversed(const Operands& o) {
    Wide result = 0;
    for (unsigned i = 0; i < o.bits(); ++i)
        result |= ((o.pattern() >> i) & 1) << (o.bits() - 1 - i);
    return result;
}

Wide rotated(const Operands& o) {
    const auto n = static_cast<unsigned>(o.b & Wide(o.bits() - 1));
    return (o.pattern() << n) | (o.pattern() >> (o.bits() - n));
}

struct Field {
    unsigned offset, bits;
    Field(Wide wantedOffset, Wide wantedBits, unsigned width)
        : offset(static_cast<unsigned>(std::min<Wide>(wantedOffset, width))),
          bits(static_cast<unsigned>(std::min<Wide>(wantedBits, width - offset))) {}
    Wide mask() const { return (Wide(1) << bits) - 1; }
};

Wide extracted(const Operands& o) {
    const Field field(o.b, o.c, o.bits());
    const Wide value = (o.pattern() >> field.offset) & field.mask();
    const bool negative = isSigned(o.type) && field.bits > 0 && (value >> (field.bits - 1)) != 0;
    return negative ? value - (Wide(1) << field.bits) : value;
}

Wide inserted(const Operands& o) {
    const Field field(o.c, o.d, o.bits());
    const Wide mask = field.mask() << field.offset;
    return (o.a & ~mask) | ((o.b << field.offset) & mask);
}

constexpr IntegerFunction integers[] = {
    {"min", 2, 0, 1, 8, [](const Operands& o) { return std::min(o.a, o.b); }},
    {"max", 2, 0, 1, 8, [](const Operands& o) { return std::max(o.a, o.b); }},
    {"clamp", 3, 0, 1, 8, [](const Operands& o) { return std::min(std::max(o.a, o.b), o.c); }},
    {"median3", 3, 0, 1, 8,
     [](const Operands& o) {
         return std::max(std::min(o.a, o.b), std::min(std::max(o.a, o.b), o.c));
     }},
    {"abs", 1, 0, 1, 8, [](const Operands& o) { return o.a < 0 ? -o.a : o.a; }},
    {"absdiff", 2, 0, 1, 8, [](const Operands& o) { return o.a > o.b ? o.a - o.b : o.b - o.a; }},
    {"addsat", 2, 0, 1, 8, [](const Operands& o) { return Wide(saturated(o.type, o.a + o.b)); }},
    {"subsat", 2, 0, 1, 8, [](const Operands& o) { return Wide(saturated(o.type, o.a - o.b)); }},
    {"hadd", 2, 0, 1, 8, [](const Operands& o) { return (o.a + o.b) >> 1; }},
    {"rhadd", 2, 0, 1, 8, [](const Operands& o) { return (o.a + o.b + 1) >> 1; }},
    {"mulhi", 2, 0, 1, 8, multiplyHigh},
    {"madhi", 3, 0, 1, 8, [](const Operands& o) { return multiplyHigh(o) + o.c; }},
    {"madsat", 3, 0, 1, 4,
     [](const Operands& o) { return Wide(saturated(o.type, o.a * o.b + o.c)); }},
    {"mul24", 2, 0, 4, 4,
     [](const Operands& o) { return low24(o.type, o.a) * low24(o.type, o.b); }},
    {"rotate", 2, 0, 1, 8, rotated},
    {"clz", 1, 0, 1, 8, [](const Operands& o) { return Wide(o.bits() - widthOf(o.pattern())); }},
    {"ctz", 1, 0, 1, 8, [](const Operands& o) { return Wide(o.bits() - widthOf(reversed(o))); }},
    {"popcount", 1, 0, 1, 8, [](const Operands& o) { return Wide(countOnes(o.pattern())); }},
    {"reverse_bits", 1, 0, 1, 8, reversed},
    {"extract_bits", 3, 2, 1, 8, extracted},
    {"insert_bits", 4, 2, 1, 8, inserted},
};

Range wholeRange(const Range* x) {
    return {x[0].bound + 1, std::max(x[0].granule, 0)};
}
Range sameRange(const Range* x) {
    return x[0];
}
Range unitRange(const Range*) {
    return {1, 0};
}
Range jointRange(const Range* x) {
    return {std::max(x[0].bound, x[1].bound), std::min(x[0].granule, x[1].granule)};
}

constexpr ExactFunction exacts[] = {
    {"floor", 1, [](const double* x) { return std::floor(x[0]); }, wholeRange},
    {"ceil", 1, [](const double* x) { return std::ceil(x[0]); }, wholeRange},
    {"trunc", 1, [](const double* x) { return std::trunc(x[0]); }, wholeRange},
    {"rint", 1, [](const double* x) { return std::nearbyint(x[0]); }, wholeRange},
    {"round", 1, [](const double* x) { return std::round(x[0]); }, wholeRange},
    {"fract", 1, [](const double* x) { return x[0] - std::floor(x[0]); },
     [](const Range* x) { return Range{1, std::min(x[0].granule, 0)}; }},
    {"abs", 1, [](const double* x) { return std::abs(x[0]); }, sameRange},
    {"sign", 1, [](const double* x) { return double((x[0] > 0) - (x[0] < 0)); }, unitRange},
    {"saturate", 1, [](const double* x) { return std::clamp(x[0], 0.0, 1.0); },
     [](const Range* x) { return Range{1, std::min(x[0].granule, 0)}; }},
    {"min", 2, [](const double* x) { return std::min(x[0], x[1]); }, jointRange},
    {"max", 2, [](const double* x) { return std::max(x[0], x[1]); }, jointRange},
    {"step", 2, [](const double* x) { return x[1] < x[0] ? 0.0 : 1.0; }, unitRange},
    {"fma", 3, [](const double* x) { return x[0] * x[1] + x[2]; },
     [](const Range* x) {
         return Range{x[0].bound * x[1].bound + x[2].bound,
                      std::min(x[0].granule + x[1].granule, x[2].granule)};
     }},
    {"clamp", 3, [](const double* x) { return std::min(std::max(x[0], x[1]), x[2]); },
     [](const Range* x) {
         const Range low = jointRange(x);
         return Range{std::max(low.bound, x[2].bound), std::min(low.granule, x[2].granule)};
     }},
};

double smooth(const double* x) {
    const double t = std::clamp(x[0], 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

/// The result is within bounds whatever the operand is.
constexpr double boundless = std::numeric_limits<double>::infinity();

using enum Domain;
constexpr RoughFunction roughs[] = {
    {"sin", 1, {Any}, [](const double* x) { return std::sin(x[0]); }, 0.5},
    {"cos", 1, {Any}, [](const double* x) { return std::cos(x[0]); }, 0.5},
    {"tan", 1, {Unit}, [](const double* x) { return std::tan(x[0]); }},
    {"sinpi", 1, {Small}, [](const double* x) { return std::sin(M_PI * x[0]); }, 0.15},
    {"asin", 1, {Unit}, [](const double* x) { return std::asin(x[0]); }},
    {"acos", 1, {Unit}, [](const double* x) { return std::acos(x[0]); }},
    {"atan", 1, {Any}, [](const double* x) { return std::atan(x[0]); }},
    {"atan2", 2, {Any, Positive}, [](const double* x) { return std::atan2(x[0], x[1]); }},
    {"sinh", 1, {Small}, [](const double* x) { return std::sinh(x[0]); }},
    {"tanh", 1, {Any}, [](const double* x) { return std::tanh(x[0]); }},
    {"exp", 1, {Small}, [](const double* x) { return std::exp(x[0]); }},
    {"exp2", 1, {Small}, [](const double* x) { return std::exp2(x[0]); }},
    {"log", 1, {Positive}, [](const double* x) { return std::log(x[0]); }},
    {"log2", 1, {Positive}, [](const double* x) { return std::log2(x[0]); }},
    {"pow", 2, {Positive, Unit}, [](const double* x) { return std::pow(x[0], x[1]); }},
    {"sqrt", 1, {Positive}, [](const double* x) { return std::sqrt(x[0]); }},
    {"rsqrt", 1, {Positive}, [](const double* x) { return 1 / std::sqrt(x[0]); }},
    {"abs", 1, {Any}, [](const double* x) { return std::abs(x[0]); }},
    {"min", 2, {Any, Any}, [](const double* x) { return std::min(x[0], x[1]); }},
    {"max", 2, {Any, Any}, [](const double* x) { return std::max(x[0], x[1]); }},
    {"clamp",
     3,
     {Any, Unit, Positive},
     [](const double* x) { return std::min(std::max(x[0], x[1]), x[2]); },
     boundless},
    {"saturate", 1, {Any}, [](const double* x) { return std::clamp(x[0], 0.0, 1.0); }, boundless},
    {"mix", 3, {Any, Any, Unit}, [](const double* x) { return x[0] + (x[1] - x[0]) * x[2]; }},
    {"fma", 3, {Any, Any, Any}, [](const double* x) { return x[0] * x[1] + x[2]; }},
    {"smoothstep",
     3,
     {Unit, Positive, Any},
     [](const double* x) {
         const double t = (x[2] - x[0]) / (x[1] - x[0]);
         return smooth(&t);
     }},
};

double dot(const Lanes& a, const Lanes& b, unsigned lanes) {
    double sum = 0;
    for (unsigned i = 0; i < lanes; ++i)
        sum += a[i] * b[i];
    return sum;
}

template <class Each>
Lanes perLane(unsigned lanes, const Each& each) {
    Lanes result{};
    for (unsigned i = 0; i < lanes; ++i)
        result[i] = each(i);
    return result;
}

constexpr GeometryFunction geometry[] = {
    {"dot", 2, false, 0, [](const Lanes* v, unsigned n) { return Lanes{dot(v[0], v[1], n)}; }},
    {"length", 1, false, 0,
     [](const Lanes* v, unsigned n) { return Lanes{std::sqrt(dot(v[0], v[0], n))}; }},
    {"distance", 2, false, 0,
     [](const Lanes* v, unsigned n) {
         const Lanes d = perLane(n, [&](unsigned i) { return v[0][i] - v[1][i]; });
         return Lanes{std::sqrt(dot(d, d, n))};
     }},
    {"normalize", 1, true, 0,
     [](const Lanes* v, unsigned n) {
         const double size = std::sqrt(dot(v[0], v[0], n));
         return perLane(n, [&](unsigned i) { return v[0][i] / size; });
     }},
    {"reflect", 2, true, 0,
     [](const Lanes* v, unsigned n) {
         const double twice = 2 * dot(v[0], v[1], n);
         return perLane(n, [&](unsigned i) { return v[0][i] - twice * v[1][i]; });
     }},
    {"cross", 2, true, 3,
     [](const Lanes* v, unsigned n) {
         return perLane(n, [&](unsigned i) {
             const unsigned j = (i + 1) % 3;
             const unsigned k = (i + 2) % 3;
             return v[0][j] * v[1][k] - v[0][k] * v[1][j];
         });
     }},
};

} // namespace

std::int64_t wrapped(Scalar type, Wide value) {
    const unsigned bits = 8 * bytesOf(type);
    const Wide pattern = value & ((Wide(1) << bits) - 1);
    const bool negative = (isSigned(type) || bits == 64) && (pattern >> (bits - 1)) != 0;
    return static_cast<std::int64_t>(negative ? pattern - (Wide(1) << bits) : pattern);
}

Wide wide(Scalar type, std::int64_t value) {
    return type == Scalar::ULong ? Wide(static_cast<std::uint64_t>(value)) : Wide(value);
}

std::int64_t saturated(Scalar type, Wide value) {
    return wrapped(type, std::clamp(value, lowest(type), highest(type)));
}

std::int64_t converted(Scalar type, double value) {
    return saturated(type, static_cast<Wide>(std::clamp(value, -1e30, 1e30)));
}

std::span<const IntegerFunction> integerFunctions() {
    return integers;
}
std::span<const ExactFunction> exactFunctions() {
    return exacts;
}
std::span<const RoughFunction> roughFunctions() {
    return roughs;
}
std::span<const GeometryFunction> geometryFunctions() {
    return geometry;
}

} // namespace fuzz
