// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Loads, stores, atomics and memory intrinsics for all lanes at once, which become contiguous,
// strided, interleaved, gathered or serialised accesses. Memory is accessed for active lanes alone.
// Where lanes store to the same address, the highest lane wins, as if the threads had run in order.
#pragma once

#include "compute/simd/analysis/SpeculativeStrides.h"
#include "compute/simd/emit/WidenGroups.h"

#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/Operator.h>

namespace compute::simd {

class WidenMemory {
public:
    /// `everyThread`: the mask with which the function begins.
    WidenMemory(LaneBuilder& builder, WideValues& values, const AccessGroups& groups,
                const PrivateMemory& privateMemory, llvm::Value* everyThread)
        : m_builder(builder),
          m_values(values),
          m_groups(groups),
          m_private(privateMemory),
          m_lanes(builder, values),
          m_groupAccess(builder, values, m_lanes, everyThread),
          m_speculative(values.strides(), builder.GetInsertBlock()->getModule()->getDataLayout()),
          m_everyThread(everyThread) {}

    /// Allocates a varying variable for all lanes.
    void widenVariable(llvm::AllocaInst& variable);
    /// Emits address arithmetic that is not affine.
    void widenAddress(llvm::GetElementPtrInst& address);
    /// Emits an instruction that accesses memory and has an operand that is not uniform. The mask
    /// has at least one lane.
    void widenAccess(llvm::Instruction& access, llvm::Value* mask);

private:
    /// An element of an interleaved variable, at `base` + `offsets`; its lanes are contiguous.
    struct InterleavedElement {
        llvm::Value* base;
        llvm::Value* offsets; ///< bytes; null when all lanes use the same element
        std::uint64_t elementBytes;
    };
    std::optional<InterleavedElement> interleavedElement(llvm::Value* pointer);

    /// What one getelementptr adds to a pointer.
    struct Offset {
        llvm::Value* uniform;           ///< in bytes
        llvm::Value* varying = nullptr; ///< with `scale`, as in Addresses; may be null
        std::uint64_t scale = 1;
    };
    Offset offsetOf(llvm::GEPOperator& step);
    /// The offset of a varying index as a signed number of 32 bits, if it fits.
    std::optional<Offset> narrowOffset(llvm::Value* index, std::uint64_t scale);
    /// An offset inside an interleaved variable; 32 bits are enough for all of them.
    Offset interleavedOffset(llvm::GEPOperator& step);
    void addOffset(Addresses& addresses, const Offset& offset);

    llvm::Value* load(llvm::LoadInst& load, llvm::Value* mask);
    llvm::Value* loadInterleaved(llvm::Type* type, const InterleavedElement& place,
                                 llvm::Value* mask);
    void store(llvm::StoreInst& store, llvm::Value* mask);
    void storeInterleaved(llvm::Value* value, const InterleavedElement& place, llvm::Value* mask);
    void clearInterleaved(llvm::MemSetInst& clear, llvm::Value* mask);
    /// Runs the scalar instruction for one active lane after the other.
    void serialise(llvm::Instruction& access, llvm::Value* mask);

    LaneBuilder& m_builder;
    WideValues& m_values;
    const AccessGroups& m_groups;
    const PrivateMemory& m_private;
    LaneMemory m_lanes;
    WidenGroups m_groupAccess;
    SpeculativeStrides m_speculative;
    llvm::Value* m_everyThread;
    llvm::DenseMap<const llvm::AllocaInst*, llvm::AllocaInst*> m_interleaved;
};

} // namespace compute::simd
