// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Emits interleaved access groups (AccessGroups.h): all accesses to a structure per lane at once.
#pragma once

#include "compute/simd/analysis/AccessGroups.h"
#include "compute/simd/emit/Interleave.h"
#include "compute/simd/emit/LaneMemory.h"

#include <array>
#include <map>

namespace compute::simd {

class WidenGroups {
public:
    /// `everyThread`: the mask with which the function begins.
    WidenGroups(LaneBuilder& builder, WideValues& values, LaneMemory& memory,
                llvm::Value* everyThread)
        : m_builder(builder), m_values(values), m_memory(memory), m_everyThread(everyThread) {}

    /// Emit all accesses of the group, for the lanes in the mask.
    void loadGroup(const AccessGroup& group, llvm::Value* mask);
    void storeGroup(const AccessGroup& group, llvm::Value* mask);

private:
    /// The words of structures that are contiguous from `start` on.
    Words loadWords(const AccessGroup& group, llvm::Value* start, llvm::Value* mask);
    /// The words of structures at any pointers.
    Words gatherWords(const AccessGroup& group, llvm::Value* pointers, llvm::Value* mask);
    /// The same for three or four words: one access per lane, and shuffles from there to vectors of
    /// single words. These are fewer accesses than gathers and scatters make.
    Words loadStructures(llvm::Value* pointers, unsigned count, llvm::Value* mask);
    void storeStructures(const Words& words, llvm::Value* pointers, llvm::Value* mask);
    Words loadWordsSpeculatively(const AccessGroup& group, llvm::Value* mask);
    llvm::Value* memberFromWords(const AccessGroup& group, const AccessGroup::Member& member,
                                 llvm::ArrayRef<llvm::Value*> words);

    void storeWords(const AccessGroup& group, const Words& words, llvm::Value* start,
                    llvm::Value* mask);
    void scatterWords(const AccessGroup& group, const Words& words, llvm::Value* pointers,
                      llvm::Value* mask);
    void memberToWords(const AccessGroup& group, const AccessGroup::Member& member,
                       llvm::MutableArrayRef<llvm::Value*> words);

    /// The addresses where the structures begin.
    Addresses starts(const AccessGroup& group);
    /// The distance from the first vector of memory to vector number `part`, in bytes.
    llvm::Value* partOffset(unsigned part);
    /// The mask for vector number `part` of memory. That of everyThread is made once, outside of
    /// all loops.
    llvm::Value* partMask(const AccessGroup& group, llvm::Value* mask, unsigned part);

    LaneBuilder& m_builder;
    WideValues& m_values;
    LaneMemory& m_memory;
    llvm::Value* m_everyThread;
    /// The key is the part, the words of the structure, and the bits of those that are wanted.
    std::map<std::array<unsigned, 3>, llvm::Value*> m_partMasks;
};

} // namespace compute::simd
