// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What became of each value of the kernel: a scalar where it is uniform, a vector where it is not,
// and for even and varying addresses also the parts that memory access works with.
#pragma once

#include "compute/simd/analysis/Strides.h"
#include "compute/simd/emit/LaneBuilder.h"

namespace compute::simd {

/// A pointer in each lane: base + stride * lane + scale * offsets[lane], in bytes; `offsets` may be
/// null. Without a base, `pointers` has them all.
struct Addresses {
    llvm::Value* base = nullptr;
    std::int64_t stride = 0;
    llvm::Value* offsets = nullptr; ///< of 64 bits, or signed ones of 32, which gather faster
    std::uint64_t scale = 1;        ///< 1, 2, 4 or 8
    llvm::Value* pointers = nullptr;

    bool isRow(std::int64_t size) const {
        return base != nullptr && offsets == nullptr && stride == size;
    }
};

class WideValues {
public:
    WideValues(LaneBuilder& builder, const Strides& strides, llvm::BasicBlock& entry)
        : m_builder(builder), m_strides(strides), m_entry(entry) {}

    const Strides& strides() const { return m_strides; }
    std::optional<std::int64_t> stride(const llvm::Value* value) const {
        return m_strides.of(value);
    }
    bool isUniform(const llvm::Value* value) const { return stride(value) == 0; }

    /// The value as all lanes have it; it must be uniform.
    llvm::Value* scalar(llvm::Value* value) const;
    /// The value in lane 0; it must be uniform or even.
    llvm::Value* first(llvm::Value* value) const;
    /// The value as a vector. Uniform values are broadcast where they are computed.
    llvm::Value* wide(llvm::Value* value);
    /// Where a pointer points to in each lane.
    Addresses addresses(llvm::Value* pointer);
    /// The same addresses, of one base, with the stride among the offsets.
    Addresses withSteps(Addresses addresses);
    /// All addresses as one vector of pointers; made where the builder stands.
    llvm::Value* pointers(const Addresses& addresses);

    void setScalar(const llvm::Value* value, llvm::Value* made) { m_scalars[value] = made; }
    void setWide(const llvm::Value* value, llvm::Value* made) { m_wide[value] = made; }
    void setAddresses(const llvm::Value* value, const Addresses& made) {
        m_addresses[value] = made;
    }

private:
    llvm::Value* broadcast(llvm::Value* scalar);

    LaneBuilder& m_builder;
    const Strides& m_strides;
    llvm::BasicBlock& m_entry;
    llvm::DenseMap<const llvm::Value*, llvm::Value*> m_scalars;
    llvm::DenseMap<const llvm::Value*, llvm::Value*> m_wide;
    llvm::DenseMap<llvm::Value*, llvm::Value*> m_broadcasts;
    llvm::DenseMap<const llvm::Value*, Addresses> m_addresses;
};

} // namespace compute::simd
