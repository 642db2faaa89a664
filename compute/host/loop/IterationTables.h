// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Lookup tables for loops of the kernel. A loop often computes values that depend on the number of
// the iteration alone: the position and colour of the seventh star, the weight of the third octave
// of noise. They are hoisted out of the loop over threads: code in front of that loop computes them
// for all iterations, and the kernel reads them from a table.
#pragma once

#include "compute/host/loop/FieldLayout.h"
#include "compute/host/loop/Hoisting.h"

#include <llvm/ADT/SetVector.h>
#include <llvm/Analysis/LoopInfo.h>
#include <llvm/Analysis/ScalarEvolution.h>
#include <llvm/IR/IRBuilder.h>

namespace compute::host {

/// The memory for tables, which lie one after the other.
struct TableMemory {
    llvm::Value& written;  ///< its address for the code that fills the tables
    llvm::Value& read;     ///< its address in the kernel
    unsigned bytes = 0;    ///< used so far
    unsigned maxBytes = 0; ///< a table that does not fit is not made
};

class IterationTables {
public:
    /// `hoisting` must outlive this.
    IterationTables(llvm::Function& kernel, kernel::Analyses& analyses, const Hoisting& hoisting);

    /// Makes tables of the values that depend on the iteration and on values of `level` and above,
    /// for loops of at most `maxIterations` iterations. The code that fills them goes before the
    /// terminator of `place`. The kernel reads them from then on; the instructions that computed
    /// the values remain in it without a use. Call this for the higher level first.
    void make(Level level, llvm::BasicBlock& place, TableMemory& memory, unsigned maxIterations);

private:
    using Values = llvm::SetVector<llvm::Instruction*>;
    /// A loop of the kernel with a known bound.
    struct CountedLoop {
        const llvm::Loop* loop;
        unsigned maxTripCount;
        bool isExact;                   ///< every thread runs exactly that many iterations
        llvm::PHINode* index = nullptr; ///< counts the iterations from 0; made on first use
    };
    struct Field {
        llvm::Instruction* value;
        FieldLayout::Place place;
    };
    struct Table {
        std::vector<Field> fields;
        unsigned bytesPerIteration = 0;
    };

    Values findValues(const CountedLoop& counted, Level level) const;
    bool mayFill(llvm::Instruction& instruction, const CountedLoop& counted) const;
    Table chooseFields(const Values& values) const;
    llvm::BasicBlock& fill(const CountedLoop& counted, const Table& table, const Values& values,
                           llvm::BasicBlock& place, llvm::Value& memory) const;
    void read(CountedLoop& counted, const Table& table, llvm::Value& memory, unsigned offset);
    /// The loop's canonical induction variable, which is added if there is none yet.
    llvm::PHINode& indexOf(CountedLoop& counted) const;

    const Hoisting& m_hoisting;
    const llvm::DominatorTree& m_dominators;
    const llvm::DataLayout& m_layout;
    std::vector<CountedLoop> m_loops;
    std::vector<llvm::BasicBlock*> m_order;            ///< the kernel's blocks, topologically
    llvm::SmallPtrSet<const llvm::Value*, 32> m_reads; ///< loads from tables made before
};

} // namespace compute::host
