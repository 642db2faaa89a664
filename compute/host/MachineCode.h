// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sole owner of executable memory. Code is copied into writable pages, linked there, and the pages
// then change to read-and-execute or read-only for good: no page is ever writable and executable.
#pragma once

#include "platform/base/Result.h"

#include <llvm/ExecutionEngine/JITLink/JITLinkMemoryManager.h>
#include <llvm/Support/MemoryBufferRef.h>

#include <memory>
#include <string_view>

namespace compute::host {

class MachineCode {
public:
    /// Links an object file against runtimeFunction(). Calls to anything else are an error which
    /// names the function.
    static platform::Result<MachineCode> link(llvm::MemoryBufferRef object,
                                              std::string_view symbol);
    MachineCode(MachineCode&& other) noexcept;
    MachineCode& operator=(MachineCode&&) = delete;
    ~MachineCode();

    /// Address of the symbol that link() was asked for; valid as long as this lives.
    void* entry() const { return m_entry; }

private:
    using Allocation = llvm::jitlink::JITLinkMemoryManager::FinalizedAlloc;
    MachineCode(std::unique_ptr<llvm::jitlink::JITLinkMemoryManager> memory, Allocation allocation,
                void* entry);

    std::unique_ptr<llvm::jitlink::JITLinkMemoryManager> m_memory;
    Allocation m_allocation;
    void* m_entry = nullptr;
};

} // namespace compute::host
