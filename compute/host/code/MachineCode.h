// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Machine code that can be run. It is linked in ordinary memory for the place in the arena
// (CodeArena.h) where it is then copied to.
#pragma once

#include "compute/host/code/CodeArena.h"
#include "platform/base/Result.h"

#include <llvm/Support/MemoryBufferRef.h>

#include <array>
#include <cstdint>
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

    /// Address of the symbol with this number of those that link() was asked for; valid as long as
    /// this lives.
    void* entry(std::size_t number) const { return m_entries[number]; }
    /// Of code, constants and what they refer to, as the object file has them.
    Fingerprint fingerprint() const { return m_fingerprint; }

private:
    MachineCode(std::vector<CodeArena::Block> blocks, std::vector<void*> entries,
                Fingerprint fingerprint);

    std::vector<CodeArena::Block> m_blocks;
    std::vector<void*> m_entries;
    Fingerprint m_fingerprint;
};

} // namespace compute::host
