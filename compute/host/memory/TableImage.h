// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The constant tables of a kernel that lie in the region of kernels, because their addresses are
// computed with, as bytes to be copied there.
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
    /// Lays out the tables, which refer to no others.
    static platform::Result<TableImage> make(std::span<llvm::GlobalVariable* const> tables,
                                             const llvm::DataLayout& layout);

    bool isEmpty() const { return m_bytes.empty(); }
    std::size_t size() const { return m_bytes.size(); }
    /// With addresses that count from the start of the image; for comparing.
    std::span<const std::byte> bytes() const { return m_bytes; }
    /// Where a table lies, from the start of the image.
    std::uint64_t offset(const llvm::GlobalVariable& table) const { return m_offsets.at(&table); }
    /// Writes the tables as they have to be at `memory`, which has room for size() bytes.
    void copyTo(std::byte* memory) const;
    /// Forgets which table is where, once their module is gone.
    void forgetTables() { m_offsets.clear(); }

private:
    platform::Result<void> write(const llvm::Constant& value, std::uint64_t at,
                                 const llvm::DataLayout& layout);
    platform::Result<void> writeElements(const llvm::Constant& value, std::uint64_t at,
                                         const llvm::DataLayout& layout);

    std::vector<std::byte> m_bytes;
    std::vector<std::uint64_t> m_addresses; ///< where in the bytes an address of the image stands
    std::map<const llvm::GlobalVariable*, std::uint64_t> m_offsets;
};

} // namespace compute::host
