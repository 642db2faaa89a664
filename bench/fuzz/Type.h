// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Types of random programs: numbers, vectors and matrices of them, structures, and arrays of all.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace fuzz {

enum class Scalar : std::uint8_t {
    Bool,
    Char,
    UChar,
    Short,
    UShort,
    Int,
    UInt,
    Long,
    ULong,
    Half,
    Float
};

constexpr bool isFloating(Scalar s) {
    return s >= Scalar::Half;
}
constexpr bool isInteger(Scalar s) {
    return s != Scalar::Bool && !isFloating(s);
}
constexpr bool isSigned(Scalar s) {
    return s == Scalar::Char || s == Scalar::Short || s == Scalar::Int || s == Scalar::Long;
}
constexpr unsigned bytesOf(Scalar s) {
    constexpr unsigned bytes[] = {1, 1, 1, 2, 2, 4, 4, 8, 8, 2, 4};
    return bytes[static_cast<unsigned>(s)];
}

/// Floating-point values come in two kinds. Exact ones are sums and products of small integers and
/// powers of two: no order of evaluation rounds them, so they may be compared and converted.
/// Rough ones carry an error that depends on the compiler's choices; nothing but other rough values
/// and outputs depends on them.
struct Type {
    Scalar scalar = Scalar::UInt;
    std::uint8_t lanes = 1; ///< of a vector, or of each column of a matrix
    bool rough = false;
    std::uint8_t columns = 0;             ///< of a matrix
    std::int8_t structure = -1;           ///< of the program, instead of all that
    std::array<std::uint8_t, 3> counts{}; ///< of an array of such: outermost first, 0 where none
    bool isBoxed = false; ///< an array<T, N>, which can be copied, instead of a T[N]

    bool isPacked = false; ///< of a vector: as it lies in memory, not as it is computed with

    constexpr bool isArray() const { return counts[0] > 0; }
    constexpr bool isStructure() const { return structure >= 0 && !isArray(); }
    constexpr bool isMatrix() const { return columns > 0 && !isArray(); }
    /// One number or a vector of them.
    constexpr bool isNumbers() const { return !isArray() && columns == 0 && structure < 0; }
    constexpr bool isVector() const { return isNumbers() && lanes > 1; }
    constexpr bool isCopyable() const { return !isArray() || isBoxed; }
    constexpr bool isExact() const { return structure < 0 && isFloating(scalar) && !rough; }

    constexpr Type withLanes(unsigned n) const {
        return {scalar, static_cast<std::uint8_t>(n), rough};
    }
    constexpr Type unpacked() const {
        Type result = *this;
        result.isPacked = isPacked && isArray();
        return result;
    }
    constexpr Type matrixOf(unsigned wantedColumns, unsigned rows) const {
        return {scalar, static_cast<std::uint8_t>(rows), rough,
                static_cast<std::uint8_t>(wantedColumns)};
    }
    /// An array of this type, which must have one dimension less than there may be.
    constexpr Type arrayOf(unsigned count, bool boxed) const {
        Type result = *this;
        std::copy_backward(counts.begin(), counts.end() - 1, result.counts.end());
        result.counts[0] = static_cast<std::uint8_t>(count);
        result.isBoxed = boxed;
        return result;
    }
    /// Of an array, the columns of a matrix or the lanes of a vector.
    constexpr unsigned count() const {
        return isArray() ? counts[0] : isMatrix() ? columns : lanes;
    }
    constexpr Type element() const {
        if (!isArray())
            return isMatrix() ? withLanes(lanes) : withLanes(1);
        Type result = *this;
        std::copy(counts.begin() + 1, counts.end(), result.counts.begin());
        result.counts.back() = 0;
        result.isBoxed = isBoxed && result.isArray();
        return result;
    }

    constexpr bool operator==(const Type&) const = default;
};

} // namespace fuzz
