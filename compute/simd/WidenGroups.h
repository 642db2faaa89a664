// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Accesses to structures, a whole group of them at once: see AccessGroups.h.
#pragma once

#include "compute/simd/AccessGroups.h"
#include "compute/simd/LaneMemory.h"
#include "compute/simd/Weave.h"

namespace compute::simd {

class WidenGroups {
public:
    WidenGroups(LaneBuilder& builder, WideValues& values, LaneMemory& memory)
        : m_builder(builder), m_values(values), m_memory(memory) {}

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

    /// Where the structures of an uneven group begin, and whether they lie side by side after all.
    struct Starts {
        llvm::Value* pointers;
        llvm::Value* first;
        llvm::Value* isRow;
    };
    Starts findStarts(const AccessGroup& group, llvm::Value* mask);
    llvm::Value* partOffset(unsigned part);
    llvm::BasicBlock* newBlock(const char* name);

    LaneBuilder& m_builder;
    WideValues& m_values;
    LaneMemory& m_memory;
};

} // namespace compute::simd
