// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Loads, stores, atomics and copies in all lanes at once. Memory is touched for lanes that have a
// thread and for no others. Where lanes write to the same place, the last one wins, as if the
// threads had run in order.
#pragma once

#include "compute/simd/AccessGroups.h"
#include "compute/simd/WideValues.h"

#include <llvm/IR/IntrinsicInst.h>

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
        llvm::Value* offsets; ///< null when all lanes use the same element
        std::uint64_t granule;
    };
    std::optional<WovenPlace> wovenPlace(llvm::Value* pointer);

    llvm::Value* load(llvm::LoadInst& load, llvm::Value* mask);
    llvm::Value* loadWoven(llvm::Type* type, const WovenPlace& place, llvm::Value* mask);
    llvm::Value* loadRow(llvm::Type* type, llvm::Value* base, llvm::Value* mask);
    llvm::Value* gather(llvm::Type* type, const Addresses& addresses, llvm::Value* mask);
    llvm::Value* gatherBytes(llvm::Type* type, const Addresses& addresses, llvm::Value* mask);
    llvm::Value* loadEachLane(llvm::Type* type, const Addresses& addresses, llvm::Value* mask);
    void loadGroup(const AccessGroup& group, llvm::Value* mask);
    /// The words of the structures: side by side from `start` on, or each at its pointer.
    using WordList = llvm::SmallVector<llvm::Value*, 8>;
    WordList loadWords(const AccessGroup& group, llvm::Value* start, llvm::Value* mask);
    WordList gatherWords(const AccessGroup& group, llvm::Value* pointers, llvm::Value* mask);
    WordList loadWordsAnywhere(const AccessGroup& group, llvm::Value* mask);
    llvm::Value* memberFromWords(const AccessGroup& group, const AccessGroup::Member& member,
                                 llvm::ArrayRef<llvm::Value*> words);

    void store(llvm::StoreInst& store, llvm::Value* mask);
    void storeWoven(llvm::Value* value, const WovenPlace& place, llvm::Value* mask);
    void storeRow(llvm::Value* value, llvm::Value* base, llvm::Value* mask);
    void scatter(llvm::Value* value, const Addresses& addresses, llvm::Value* mask);
    void storeGroup(const AccessGroup& group, llvm::Value* mask);
    void storeWords(const AccessGroup& group, const WordList& words, llvm::Value* start,
                    llvm::Value* mask);
    void scatterWords(const AccessGroup& group, const WordList& words, llvm::Value* pointers,
                      llvm::Value* mask);
    /// Where the structures of an uneven group begin, and whether they lie side by side after all.
    struct Starts {
        llvm::Value* pointers;
        llvm::Value* first;
        llvm::Value* isRow;
    };
    Starts findStarts(const AccessGroup& group, llvm::Value* mask);
    llvm::BasicBlock* newBlock(const char* name);
    void memberToWords(const AccessGroup& group, const AccessGroup::Member& member,
                       llvm::MutableArrayRef<llvm::Value*> words);

    void clearWoven(llvm::MemSetInst& clear, llvm::Value* mask);
    void eachLane(llvm::Instruction& access, llvm::Value* mask);

    /// The processor's own masked memory access: 32 and 64 bits from AVX2 on, all sizes with
    /// AVX-512.
    bool hasMaskedRow(llvm::Type* type) const;
    bool hasGather(llvm::Type* type) const;
    bool hasScatter(llvm::Type* type) const;
    std::uint64_t sizeOf(llvm::Type* type) const;
    /// Memory that lanes without a thread may use.
    llvm::Value* spare();
    llvm::Value* safePointers(const Addresses& addresses, llvm::Value* mask);

    LaneBuilder& m_builder;
    WideValues& m_values;
    const AccessGroups& m_groups;
    const PrivateMemory& m_private;
    llvm::Value* m_everyThread;
    llvm::Value* m_spare = nullptr;
    llvm::DenseMap<const llvm::AllocaInst*, llvm::AllocaInst*> m_woven;
};

} // namespace compute::simd
