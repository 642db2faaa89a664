// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sole owner of executable memory. Code is copied into writable pages, linked there, and the pages
// then change to read-and-execute or read-only for good: no page is ever writable and executable.
#pragma once

#include "platform/base/Result.h"

#include <llvm/ExecutionEngine/JITLink/JITLinkMemoryManager.h>
#include <llvm/Support/MemoryBufferRef.h>

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace compute::host {

/// Tells apart what was made from different things.
using Fingerprint = std::array<std::uint64_t, 2>;

class MachineCode {
public:
    /// Links an object file against runtimeFunction(). Calls to anything else are an error which
    /// names the function.
    static platform::Result<MachineCode> link(llvm::MemoryBufferRef object,
                                              std::span<const std::string_view> symbols);
    MachineCode(MachineCode&& other) noexcept;
    MachineCode& operator=(MachineCode&&) = delete;
    ~MachineCode();

    /// Address of the symbol with this number of those that link() was asked for; valid as long as
    /// this lives.
    void* entry(std::size_t number) const { return m_entries[number]; }
    /// Of code, constants and what they refer to, as the object file has them.
    Fingerprint fingerprint() const { return m_fingerprint; }

private:
    using Allocation = llvm::jitlink::JITLinkMemoryManager::FinalizedAlloc;
    MachineCode(std::unique_ptr<llvm::jitlink::JITLinkMemoryManager> memory, Allocation allocation,
                std::vector<void*> entries, Fingerprint fingerprint);

    std::unique_ptr<llvm::jitlink::JITLinkMemoryManager> m_memory;
    Allocation m_allocation;
    std::vector<void*> m_entries;
    Fingerprint m_fingerprint;
};

} // namespace compute::host
