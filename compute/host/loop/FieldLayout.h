// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The layout of values of different types in memory, as the fields of a structure: one after the
// other, each at the next address that is aligned for its type.
#pragma once

#include <llvm/IR/DataLayout.h>

namespace compute::host {

class FieldLayout {
public:
    /// `bytes`: the number of bytes that are in use already.
    explicit FieldLayout(const llvm::DataLayout& layout, unsigned bytes = 0)
        : m_layout(layout), m_bytes(bytes) {}

    struct Place {
        unsigned offset;
        llvm::Align align;
    };
    /// Appends a field of this type.
    Place add(llvm::Type& type) {
        const llvm::Align align = m_layout.getABITypeAlign(&type);
        const auto offset = static_cast<unsigned>(llvm::alignTo(m_bytes, align));
        m_bytes = offset + static_cast<unsigned>(m_layout.getTypeStoreSize(&type));
        return {.offset = offset, .align = align};
    }
    /// The bytes up to the end of the last field.
    unsigned bytes() const { return m_bytes; }

private:
    const llvm::DataLayout& m_layout;
    unsigned m_bytes;
};

} // namespace compute::host
