// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Loads and stores of one plain number a lane, side by side or each at its own address, with what
// the processor has for them. Memory is touched for lanes in the mask and for no others; the mask
// has at least one. Where lanes store to the same place, the last one wins.
#pragma once

#include "compute/simd/WideValues.h"

namespace compute::simd {

class LaneMemory {
public:
    LaneMemory(LaneBuilder& builder, WideValues& values) : m_builder(builder), m_values(values) {}

    std::uint64_t sizeOf(llvm::Type* type) const;

    /// Numbers one after the other in memory, lane 0 at `base`.
    llvm::Value* loadRow(llvm::Type* type, llvm::Value* base, llvm::Value* mask);
    void storeRow(llvm::Value* value, llvm::Value* base, llvm::Value* mask);

    llvm::Value* gather(llvm::Type* type, const Addresses& addresses, llvm::Value* mask);
    void scatter(llvm::Value* value, const Addresses& addresses, llvm::Value* mask);

private:
    llvm::Value* gatherBytes(llvm::Type* type, const Addresses& addresses, llvm::Value* mask);
    llvm::Value* loadEachLane(llvm::Type* type, const Addresses& addresses, llvm::Value* mask);

    /// The processor's own masked memory access: 32 and 64 bits from AVX2 on, all sizes with
    /// AVX-512.
    bool hasMaskedRow(llvm::Type* type) const;
    bool hasGather(llvm::Type* type) const;
    bool hasScatter(llvm::Type* type) const;
    /// Memory that lanes without a thread may use.
    llvm::Value* spare();
    llvm::Value* safePointers(const Addresses& addresses, llvm::Value* mask);

    LaneBuilder& m_builder;
    WideValues& m_values;
    llvm::Value* m_spare = nullptr;
};

} // namespace compute::simd
