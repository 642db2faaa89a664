// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The contents of those constant tables of a kernel that lie in the region of kernels because their
// address escapes: bytes that are copied there when the kernel is loaded.
#pragma once

#include "platform/base/Result.h"

#include <llvm/IR/DataLayout.h>
#include <llvm/IR/GlobalVariable.h>

#include <cstddef>
#include <map>
#include <span>
#include <vector>

namespace compute::host {

class TableImage {
public:
    /// Lays out the tables. They may hold addresses of one another but of nothing else.
    static platform::Result<TableImage> make(std::span<llvm::GlobalVariable* const> tables,
                                             const llvm::DataLayout& layout);

    bool isEmpty() const { return m_bytes.empty(); }
    std::size_t size() const { return m_bytes.size(); }
    /// The contents with addresses that are relative to the start of the image; for comparing.
    std::span<const std::byte> bytes() const { return m_bytes; }
    /// The offset of a table from the start of the image.
    std::uint64_t offset(const llvm::GlobalVariable& table) const { return m_offsets.at(&table); }
    /// Copies the image to `memory`, which has room for size() bytes, and relocates its addresses.
    void copyTo(std::byte* memory) const;
    /// Forgets the offsets; to be called when the tables no longer exist.
    void forgetTables() { m_offsets.clear(); }

private:
    platform::Result<void> write(const llvm::Constant& value, std::uint64_t at,
                                 const llvm::DataLayout& layout);
    platform::Result<void> writeElements(const llvm::Constant& value, std::uint64_t at,
                                         const llvm::DataLayout& layout);

    std::vector<std::byte> m_bytes;
    std::vector<std::uint64_t> m_addresses; ///< offsets of the addresses in the image
    std::map<const llvm::GlobalVariable*, std::uint64_t> m_offsets;
};

} // namespace compute::host
