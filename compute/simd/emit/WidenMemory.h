// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Loads, stores, atomics and copies in all lanes at once. Memory is touched for lanes that have a
// thread and for no others. Where lanes write to the same place, the last one wins, as if the
// threads had run in order.
#pragma once

#include "compute/simd/analysis/SpeculativeStrides.h"
#include "compute/simd/emit/WidenGroups.h"

#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/Operator.h>

namespace compute::simd {

class WidenMemory {
public:
    /// `everyThread`: the mask of all lanes that have a thread at all.
    WidenMemory(LaneBuilder& builder, WideValues& values, const AccessGroups& groups,
                const PrivateMemory& privateMemory, llvm::Value* everyThread)
        : m_builder(builder),
          m_values(values),
          m_groups(groups),
          m_private(privateMemory),
          m_lanes(builder, values),
          m_groupAccess(builder, values, m_lanes, everyThread),
          m_likely(values.strides(), builder.GetInsertBlock()->getModule()->getDataLayout()),
          m_everyThread(everyThread) {}

    /// Makes room for a variable that differs by lane.
    void widenVariable(llvm::AllocaInst& variable);
    /// Notes where the pointer leads in each lane.
    void widenAddress(llvm::GetElementPtrInst& address);
    /// Any instruction that accesses memory and is not uniform in all of its operands. The mask has
    /// at least one lane.
    void widenAccess(llvm::Instruction& access, llvm::Value* mask);

private:
    /// An element of a woven variable: at `base` + `offsets`, lanes side by side.
    struct WovenPlace {
        llvm::Value* base;
        llvm::Value* offsets; ///< bytes; null when all lanes use the same element
        std::uint64_t granule;
    };
    std::optional<WovenPlace> wovenPlace(llvm::Value* pointer);

    /// What a step of address arithmetic adds.
    struct Offset {
        llvm::Value* common;            ///< bytes for all lanes
        llvm::Value* perLane = nullptr; ///< as Addresses::offsets
        std::uint64_t scale = 1;
    };
    Offset offsetOf(llvm::GEPOperator& step);
    /// Takes an index that differs by lane as signed 32 bits, where it fits.
    std::optional<Offset> narrowOffset(llvm::Value* index, std::uint64_t scale);
    /// An offset inside a woven variable, all of which 32 bits can reach.
    Offset wovenOffset(llvm::GEPOperator& step);
    void addOffset(Addresses& addresses, const Offset& offset);

    llvm::Value* load(llvm::LoadInst& load, llvm::Value* mask);
    llvm::Value* loadWoven(llvm::Type* type, const WovenPlace& place, llvm::Value* mask);
    void store(llvm::StoreInst& store, llvm::Value* mask);
    void storeWoven(llvm::Value* value, const WovenPlace& place, llvm::Value* mask);
    void clearWoven(llvm::MemSetInst& clear, llvm::Value* mask);
    void eachLane(llvm::Instruction& access, llvm::Value* mask);

    LaneBuilder& m_builder;
    WideValues& m_values;
    const AccessGroups& m_groups;
    const PrivateMemory& m_private;
    LaneMemory m_lanes;
    WidenGroups m_groupAccess;
    SpeculativeStrides m_likely;
    llvm::Value* m_everyThread;
    llvm::DenseMap<const llvm::AllocaInst*, llvm::AllocaInst*> m_woven;
};

} // namespace compute::simd
