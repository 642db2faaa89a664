// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/TypeGenerator.h"

namespace fuzz {
namespace {

constexpr unsigned maxValueCells = 16;
constexpr unsigned maxStructureCells = 24;

} // namespace

Scalar TypeGenerator::integer() {
    constexpr Scalar types[] = {Scalar::UInt,  Scalar::Int,    Scalar::UInt, Scalar::Int,
                                Scalar::Short, Scalar::UShort, Scalar::Char, Scalar::UChar,
                                Scalar::Long,  Scalar::ULong};
    return m_random.pick(types);
}

Type TypeGenerator::numbers() {
    const unsigned kind = m_random.below(20);
    Type type{integer()};
    if (kind < 2)
        type = {Scalar::Bool};
    else if (kind < 5)
        type = {Scalar::Float};
    else if (kind < 6)
        type = {Scalar::Half};
    else if (kind < 9)
        type = {m_random.percent(80) ? Scalar::Float : Scalar::Half, 1, true};
    return m_random.percent(30) ? type.withLanes(m_random.between(2, 4)) : type;
}

Type TypeGenerator::matrix() {
    const Type number{m_random.percent(80) ? Scalar::Float : Scalar::Half, 1, m_random.percent(75)};
    const unsigned columns = m_random.between(2, 4);
    return number.matrixOf(columns, m_random.percent(60) ? columns : m_random.between(2, 4));
}

Type TypeGenerator::stored() {
    Type type = numbers();
    type.isPacked = type.isVector() && type.scalar != Scalar::Bool && bytesOf(type.scalar) < 8 &&
                    m_random.percent(20);
    return type;
}

Type TypeGenerator::aggregate() {
    if (!m_program.structures.empty() && m_random.percent(60)) {
        Type type;
        type.structure = static_cast<std::int8_t>(m_random.below(m_program.structures.size()));
        return type;
    }
    return matrix();
}

Type TypeGenerator::copyable() {
    Type type = m_random.percent(75) ? stored() : aggregate();
    if (m_random.percent(10))
        type = type.arrayOf(m_random.between(2, 4), true);
    return m_program.cellsOf(type) > maxValueCells ? numbers() : type;
}

Type TypeGenerator::any(unsigned maxCells) {
    const unsigned kind = m_random.below(20);
    Type type = kind < 14 ? stored() : aggregate();
    const bool isBoxed = m_random.percent(30);
    if (kind < 3 || kind > 17)
        type = type.arrayOf(m_random.between(2, isBoxed ? 4 : 9), isBoxed);
    else if (kind == 3 || kind == 17)
        type =
            type.arrayOf(m_random.between(2, 4), isBoxed).arrayOf(m_random.between(2, 4), isBoxed);
    return m_program.cellsOf(type) > maxCells ? numbers() : type;
}

Structure TypeGenerator::structure() {
    Structure result;
    unsigned cells = 0;
    for (unsigned i = m_random.between(1, 4); i > 0; --i) {
        const Type field = any(maxStructureCells / 2);
        cells += m_program.cellsOf(field);
        if (cells <= maxStructureCells)
            result.fields.push_back(field);
    }
    return result;
}

} // namespace fuzz
