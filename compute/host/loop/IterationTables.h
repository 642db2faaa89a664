// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Loops often compute things that depend on the round alone: where the seventh star is at this
// moment, its colour, the weight of the third octave of noise. All threads get the same values, so
// they are computed beforehand, once for all rounds, and read from a table.
#pragma once

#include "compute/host/loop/FieldLayout.h"
#include "compute/host/loop/Hoisting.h"

#include <llvm/ADT/SetVector.h>
#include <llvm/Analysis/LoopInfo.h>
#include <llvm/Analysis/ScalarEvolution.h>
#include <llvm/IR/IRBuilder.h>

namespace compute::host {

/// Memory that tables are laid out in, one after the other.
struct TableMemory {
    llvm::Value& written;  ///< its address where the tables are filled
    llvm::Value& read;     ///< its address in the kernel
    unsigned bytes = 0;    ///< used so far
    unsigned maxBytes = 0; ///< a table that does not fit is not made
};

class IterationTables {
public:
    /// `hoisting` must outlive this.
    IterationTables(llvm::Function& kernel, kernel::Analyses& analyses, const Hoisting& hoisting);

    /// Makes tables of what depends on the round and on values of `level` and above, for loops of
    /// at most `maxRounds` rounds. Code that fills them is added before the terminator of `place`;
    /// the kernel then reads them. What it computed itself is left in it, without a use. To be
    /// called for the higher level first.
    void make(Level level, llvm::BasicBlock& place, TableMemory& memory, unsigned maxRounds);

private:
    using Values = llvm::SetVector<llvm::Instruction*>;
    /// A loop of the kernel whose rounds can be counted.
    struct CountedLoop {
        const llvm::Loop* loop;
        unsigned rounds;                 ///< at most
        bool isComplete;                 ///< every thread runs all of them
        llvm::PHINode* number = nullptr; ///< of the round, from 0, once it is needed
    };
    struct Field {
        llvm::Instruction* value;
        FieldLayout::Place place;
    };
    struct Table {
        std::vector<Field> fields;
        unsigned bytesOfRound = 0;
    };

    Values findValues(const CountedLoop& counted, Level level) const;
    bool mayFill(llvm::Instruction& instruction, const CountedLoop& counted) const;
    Table choose(const Values& values) const;
    llvm::BasicBlock& fill(const CountedLoop& counted, const Table& table, const Values& values,
                           llvm::BasicBlock& place, llvm::Value& memory) const;
    void read(CountedLoop& counted, const Table& table, llvm::Value& memory, unsigned offset);
    llvm::PHINode& numberOf(CountedLoop& counted) const;

    const Hoisting& m_hoisting;
    const llvm::DominatorTree& m_dominators;
    const llvm::DataLayout& m_layout;
    std::vector<CountedLoop> m_loops;
    std::vector<llvm::BasicBlock*> m_order;            ///< of the kernel's blocks
    llvm::SmallPtrSet<const llvm::Value*, 32> m_reads; ///< of tables made before
};

} // namespace compute::host
