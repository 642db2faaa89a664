// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Layout.h"

namespace fuzz {
namespace {

void append(Layout& whole, const Layout& part) {
    const std::size_t start = (whole.bytes + part.alignment - 1) / part.alignment * part.alignment;
    for (const Layout::Number& number : part.numbers)
        whole.numbers.push_back({start + number.offset, number.type});
    whole.alignment = std::max(whole.alignment, part.alignment);
    whole.bytes = start + part.bytes;
}

/// Three lanes take the room of four, unless they are packed.
Layout vectorOf(Type type) {
    Layout result;
    for (unsigned i = 0; i < type.lanes; ++i)
        result.numbers.push_back({std::size_t{i} * bytesOf(type.scalar), type.scalar});
    const bool hasGap = type.lanes == 3 && !type.isPacked;
    result.bytes = std::size_t{bytesOf(type.scalar)} * (hasGap ? 4u : type.lanes);
    result.alignment = type.isPacked ? bytesOf(type.scalar) : result.bytes;
    return result;
}

} // namespace

Layout layoutOf(const Program& program, Type type) {
    if (type.isNumbers())
        return vectorOf(type);
    Layout result;
    if (type.isStructure()) {
        for (const Type& field : program.fields(type))
            append(result, layoutOf(program, field));
        result.bytes = (result.bytes + result.alignment - 1) / result.alignment * result.alignment;
        return result;
    }
    const Layout element = layoutOf(program, type.element());
    for (unsigned i = 0; i < type.count(); ++i)
        append(result, element);
    return result;
}

} // namespace fuzz
