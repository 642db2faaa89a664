// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The emitted form of each value of the kernel: a scalar if it is uniform, a vector if it varies,
// both if it is affine; and for pointers also the base, stride and offsets that memory accesses
// are made of.
#pragma once

#include "compute/simd/analysis/Strides.h"
#include "compute/simd/emit/LaneBuilder.h"

namespace compute::simd {

/// A pointer per lane: base + stride * lane + scale * offsets[lane], in bytes; `offsets` may be
/// null. Without a base, `pointers` holds the pointers themselves.
struct Addresses {
    llvm::Value* base = nullptr;
    std::int64_t stride = 0;
    llvm::Value* offsets = nullptr; ///< of 64 bits, or signed and of 32 bits, which gather faster
    std::uint64_t scale = 1;        ///< 1, 2, 4 or 8
    llvm::Value* pointers = nullptr;

    /// Whether the addresses are known to be that many bytes apart.
    bool hasStride(std::int64_t bytes) const {
        return base != nullptr && offsets == nullptr && stride == bytes;
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

    /// The scalar form of a uniform value.
    llvm::Value* scalar(llvm::Value* value) const;
    /// The value in lane 0; it must be uniform or affine.
    llvm::Value* first(llvm::Value* value) const;
    /// The vector form of a value. Uniform values are broadcast where they are computed.
    llvm::Value* wide(llvm::Value* value);
    Addresses addresses(llvm::Value* pointer);
    /// The same addresses with a stride of 0, the former stride being part of the offsets. There
    /// must be a base.
    Addresses foldStride(Addresses addresses);
    /// The addresses as a vector of pointers, emitted where the builder stands.
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
