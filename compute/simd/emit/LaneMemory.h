// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Contiguous accesses, gathers and scatters of one number or pointer per lane, with the
// instructions that the processor has for them. Memory is accessed for the lanes of the mask alone;
// the mask has at least one. Where lanes store to the same address, the highest lane wins.
#pragma once

#include "compute/simd/emit/WideValues.h"

namespace compute::simd {

class LaneMemory {
public:
    LaneMemory(LaneBuilder& builder, WideValues& values) : m_builder(builder), m_values(values) {}

    std::uint64_t sizeOf(llvm::Type* type) const;
    /// Whether the processor has a masked load and store: for 32 and 64 bits from AVX2 on, for all
    /// sizes with AVX-512.
    bool hasMaskedAccess(llvm::Type* type) const;

    /// Contiguous accesses; lane 0 is at `base`.
    llvm::Value* loadContiguous(llvm::Type* type, llvm::Value* base, llvm::Value* mask);
    void storeContiguous(llvm::Value* value, llvm::Value* base, llvm::Value* mask);

    llvm::Value* gather(llvm::Type* type, const Addresses& addresses, llvm::Value* mask);
    void scatter(llvm::Value* value, const Addresses& addresses, llvm::Value* mask);

    /// Like gather() and scatter(), for addresses whose stride is probably `stride`, which is 0 or
    /// the size of the type; storeSpeculatively() assumes the latter. Emitted code checks it.
    llvm::Value* loadSpeculatively(llvm::Type* type, const Addresses& addresses,
                                   std::int64_t stride, llvm::Value* mask);
    void storeSpeculatively(llvm::Value* value, const Addresses& addresses, llvm::Value* mask);

    /// Compares the addresses of the lanes in the mask with a stride, at run time.
    struct StrideCheck {
        llvm::Value* first; ///< the address of lane 0, if the check holds
        llvm::Value* holds; ///< a scalar
    };
    StrideCheck checkStride(const Addresses& addresses, std::int64_t stride, llvm::Value* mask);

    /// An address for each lane that it may access: in scratch memory for lanes outside the mask.
    using Pointers = llvm::SmallVector<llvm::Value*, 16>;
    Pointers safePointers(const Addresses& addresses, llvm::Value* mask);
    /// The size of the scratch memory, and so of the largest access to it.
    static constexpr unsigned scratchBytes = 16;

private:
    struct NarrowAddresses;
    NarrowAddresses narrowAddresses(llvm::Type* type, const Addresses& addresses);
    llvm::Value* gatherNarrow(llvm::Type* type, const Addresses& addresses, llvm::Value* mask);
    /// The distance from the word that gatherNarrow() reads to a number of one or two bytes in it.
    llvm::Value* bytesBeforeNumber(llvm::Value* lowBits, std::uint64_t size);
    llvm::Value* loadEachLane(llvm::Type* type, const Addresses& addresses, llvm::Value* mask);

    /// Compares the lanes of the mask with first + step * lane.
    StrideCheck checkProgression(llvm::Value* numbers, std::int64_t step, llvm::Value* mask);

    bool hasGather(llvm::Type* type) const;
    bool hasScatter(llvm::Type* type) const;
    llvm::Value* scratch();

    LaneBuilder& m_builder;
    WideValues& m_values;
    llvm::Value* m_scratch = nullptr;
};

} // namespace compute::simd
