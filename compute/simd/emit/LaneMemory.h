// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Loads and stores of one plain number a lane, side by side or each at its own address, with what
// the processor has for them. Memory is touched for lanes in the mask and for no others; the mask
// has at least one. Where lanes store to the same place, the last one wins.
#pragma once

#include "compute/simd/emit/WideValues.h"

namespace compute::simd {

class LaneMemory {
public:
    LaneMemory(LaneBuilder& builder, WideValues& values) : m_builder(builder), m_values(values) {}

    std::uint64_t sizeOf(llvm::Type* type) const;
    /// The processor's own masked memory access: 32 and 64 bits from AVX2 on, all sizes with
    /// AVX-512.
    bool hasMaskedRow(llvm::Type* type) const;

    /// Numbers one after the other in memory, lane 0 at `base`.
    llvm::Value* loadRow(llvm::Type* type, llvm::Value* base, llvm::Value* mask);
    void storeRow(llvm::Value* value, llvm::Value* base, llvm::Value* mask);

    llvm::Value* gather(llvm::Type* type, const Addresses& addresses, llvm::Value* mask);
    void scatter(llvm::Value* value, const Addresses& addresses, llvm::Value* mask);

    /// As gather() and scatter(), for addresses that are probably `stride` bytes apart: 0 or the
    /// size of the type.
    llvm::Value* loadLikely(llvm::Type* type, const Addresses& addresses, std::int64_t stride,
                            llvm::Value* mask);
    void storeLikelyRow(llvm::Value* value, const Addresses& addresses, llvm::Value* mask);

    /// Whether the addresses are `stride` bytes apart in the lanes of the mask.
    struct Row {
        llvm::Value* first;   ///< the address of lane 0, as far as the others show it
        llvm::Value* isThere; ///< a scalar
    };
    Row findRow(const Addresses& addresses, std::int64_t stride, llvm::Value* mask);

    /// The address for each lane, of memory that it may access: spare one where it has no thread.
    using Pointers = llvm::SmallVector<llvm::Value*, 16>;
    Pointers safePointers(const Addresses& addresses, llvm::Value* mask);
    /// A single access may take this much.
    static constexpr unsigned spareBytes = 16;

private:
    struct NarrowAddresses;
    NarrowAddresses narrowAddresses(llvm::Type* type, const Addresses& addresses);
    llvm::Value* gatherBytes(llvm::Type* type, const Addresses& addresses, llvm::Value* mask);
    /// How far before a number of one or two bytes the word begins that gatherBytes() reads.
    llvm::Value* bytesBeforeNumber(llvm::Value* places, std::uint64_t size);
    llvm::Value* loadEachLane(llvm::Type* type, const Addresses& addresses, llvm::Value* mask);

    /// Whether all active lanes of a vector grow by `step` from lane to lane, and lane 0.
    Row findProgression(llvm::Value* numbers, std::int64_t step, llvm::Value* mask);

    bool hasGather(llvm::Type* type) const;
    bool hasScatter(llvm::Type* type) const;
    llvm::Value* spare();

    LaneBuilder& m_builder;
    WideValues& m_values;
    llvm::Value* m_spare = nullptr;
};

} // namespace compute::simd
