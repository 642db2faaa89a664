// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Accesses to structures, a whole group of them at once: see AccessGroups.h.
#pragma once

#include "compute/simd/analysis/AccessGroups.h"
#include "compute/simd/emit/Interleave.h"
#include "compute/simd/emit/LaneMemory.h"

#include <array>
#include <map>

namespace compute::simd {

class WidenGroups {
public:
    /// `everyThread`: the mask of all lanes that have a thread at all.
    WidenGroups(LaneBuilder& builder, WideValues& values, LaneMemory& memory,
                llvm::Value* everyThread)
        : m_builder(builder), m_values(values), m_memory(memory), m_everyThread(everyThread) {}

    /// Does all accesses of the group, for the lanes in the mask.
    void loadGroup(const AccessGroup& group, llvm::Value* mask);
    void storeGroup(const AccessGroup& group, llvm::Value* mask);

private:
    /// The words of the structures: side by side from `start` on, or each at its pointer.
    Words loadWords(const AccessGroup& group, llvm::Value* start, llvm::Value* mask);
    Words gatherWords(const AccessGroup& group, llvm::Value* pointers, llvm::Value* mask);
    /// Three or four words at each pointer with an access a lane, and with shuffles between them
    /// and the vectors of single words: fewer accesses than gathers and scatters make.
    Words loadStructures(llvm::Value* pointers, unsigned count, llvm::Value* mask);
    void storeStructures(const Words& words, llvm::Value* pointers, llvm::Value* mask);
    Words loadWordsAnywhere(const AccessGroup& group, llvm::Value* mask);
    llvm::Value* memberFromWords(const AccessGroup& group, const AccessGroup::Member& member,
                                 llvm::ArrayRef<llvm::Value*> words);

    void storeWords(const AccessGroup& group, const Words& words, llvm::Value* start,
                    llvm::Value* mask);
    void scatterWords(const AccessGroup& group, const Words& words, llvm::Value* pointers,
                      llvm::Value* mask);
    void memberToWords(const AccessGroup& group, const AccessGroup::Member& member,
                       llvm::MutableArrayRef<llvm::Value*> words);

    /// Where the structures begin.
    Addresses starts(const AccessGroup& group);
    llvm::Value* partOffset(unsigned part);
    /// The mask for the vector `part` of memory. That of all threads is made once, outside of
    /// loops.
    llvm::Value* partMask(const AccessGroup& group, llvm::Value* mask, unsigned part);

    LaneBuilder& m_builder;
    WideValues& m_values;
    LaneMemory& m_memory;
    llvm::Value* m_everyThread;
    /// By part, words of the structure, and which of them are wanted.
    std::map<std::array<unsigned, 3>, llvm::Value*> m_partMasks;
};

} // namespace compute::simd
