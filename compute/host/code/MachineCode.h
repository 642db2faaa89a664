// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Machine code that can be run. It is linked in ordinary memory, for the addresses in the arena
// (CodeArena.h) that it is then copied to.
#pragma once

#include "compute/host/code/CodeArena.h"
#include "compute/types/Fingerprint.h"
#include "platform/base/Result.h"

#include <llvm/Support/MemoryBufferRef.h>

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace compute::host {

class MachineCode {
public:
    /// Links an object file against the functions that runtimeFunction() knows. A call of any other
    /// function is an error, which names it. `symbols`: the entry points.
    static platform::Result<MachineCode> link(llvm::MemoryBufferRef object,
                                              std::span<const std::string_view> symbols);

    /// The address of the symbol with this index in link()'s `symbols`; valid as long as this
    /// lives.
    void* entry(std::size_t number) const { return m_entries[number]; }
    /// The hash of the object file's code and constants with their relocations.
    Fingerprint fingerprint() const { return m_fingerprint; }

private:
    MachineCode(std::vector<CodeArena::Block> blocks, std::vector<void*> entries,
                Fingerprint fingerprint);

    std::vector<CodeArena::Block> m_blocks;
    std::vector<void*> m_entries;
    Fingerprint m_fingerprint;
};

} // namespace compute::host
