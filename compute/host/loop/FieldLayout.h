// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Values that lie one after the other in memory, each at the next address that suits its type.
#pragma once

#include <llvm/IR/DataLayout.h>

namespace compute::host {

class FieldLayout {
public:
    /// `bytes`: that are in use already.
    explicit FieldLayout(const llvm::DataLayout& layout, unsigned bytes = 0)
        : m_layout(layout), m_bytes(bytes) {}

    struct Place {
        unsigned offset;
        llvm::Align align;
    };
    /// Takes room for a value of this type.
    Place add(llvm::Type& type) {
        const llvm::Align align = m_layout.getABITypeAlign(&type);
        const auto offset = static_cast<unsigned>(llvm::alignTo(m_bytes, align));
        m_bytes = offset + static_cast<unsigned>(m_layout.getTypeStoreSize(&type));
        return {.offset = offset, .align = align};
    }
    /// Up to the end of the last value.
    unsigned bytes() const { return m_bytes; }

private:
    const llvm::DataLayout& m_layout;
    unsigned m_bytes;
};

} // namespace compute::host
