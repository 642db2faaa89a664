// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/analysis/RegisterPressure.h"

#include <llvm/ADT/BitVector.h>
#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/IR/CFG.h>
#include <llvm/IR/InstIterator.h>

#include <algorithm>
#include <map>
#include <vector>

namespace compute::simd {
namespace {

using llvm::BasicBlock;
using llvm::Instruction;

unsigned wordsOf(llvm::Type* type) {
    if (type->isVoidTy() || type->isIntegerTy(1))
        return 0;
    if (auto* structure = llvm::dyn_cast<llvm::StructType>(type)) {
        unsigned words = 0;
        for (llvm::Type* element : structure->elements())
            words += wordsOf(element);
        return words;
    }
    return type->getPrimitiveSizeInBits().getFixedValue() > 32 ? 2 : 1;
}

/// Liveness analysis of the varying values.
class Liveness {
public:
    Liveness(llvm::Function& function, const Strides& strides) : m_function(function) {
        for (Instruction& value : llvm::instructions(function))
            if (const unsigned words = wordsOf(value.getType()); words > 0 && !strides.of(&value)) {
                m_numbers[&value] = unsigned(m_words.size());
                m_words.push_back(words);
            }
        solve();
    }

    /// The most words that are live at one point of the block.
    unsigned maxLive(const BasicBlock& block) const {
        llvm::BitVector live = m_liveOut.at(&block);
        return walkBack(block, live);
    }

private:
    /// Turns the values that are live at the block's end into those that are live at its start.
    /// Returns the most words that are live in between.
    unsigned walkBack(const BasicBlock& block, llvm::BitVector& live) const {
        unsigned words = 0;
        for (const unsigned number : live.set_bits())
            words += m_words[number];
        unsigned most = words;
        for (const Instruction& instruction : llvm::reverse(block)) {
            if (const auto own = m_numbers.find(&instruction);
                own != m_numbers.end() && live.test(own->second)) {
                live.reset(own->second);
                words -= m_words[own->second];
            }
            if (llvm::isa<llvm::PHINode>(instruction))
                continue;
            for (const llvm::Value* operand : instruction.operands())
                if (const auto used = m_numbers.find(operand);
                    used != m_numbers.end() && !live.test(used->second)) {
                    live.set(used->second);
                    words += m_words[used->second];
                }
            most = std::max(most, words);
        }
        return most;
    }

    void solve() {
        for (const BasicBlock& block : m_function)
            m_liveOut[&block].resize(unsigned(m_words.size()));
        for (bool isChanged = true; isChanged;) {
            isChanged = false;
            for (BasicBlock* block : llvm::post_order(&m_function)) {
                llvm::BitVector before = m_liveOut[block];
                walkBack(*block, before);
                for (BasicBlock* from : llvm::predecessors(block)) {
                    llvm::BitVector& out = m_liveOut[from];
                    llvm::BitVector joined = before;
                    for (const llvm::PHINode& phi : block->phis())
                        if (const auto used = m_numbers.find(phi.getIncomingValueForBlock(from));
                            used != m_numbers.end())
                            joined.set(used->second);
                    joined |= out;
                    if (joined != out) {
                        out = joined;
                        isChanged = true;
                    }
                }
            }
        }
    }

    llvm::Function& m_function;
    llvm::DenseMap<const llvm::Value*, unsigned> m_numbers;
    std::vector<unsigned> m_words;
    std::map<const BasicBlock*, llvm::BitVector> m_liveOut;
};

/// Atomics count more because they mostly run lane by lane.
unsigned scatteredIn(const Instruction& instruction, const Strides& strides) {
    constexpr unsigned atomic = 8;
    if (instruction.isAtomic())
        return atomic;
    const llvm::Value* pointer = llvm::getLoadStorePointerOperand(&instruction);
    return pointer != nullptr && !strides.of(pointer) ? 1 : 0;
}

} // namespace

RegisterPressure registerPressureOf(llvm::Function& function, const llvm::LoopInfo& loops,
                                    const Strides& strides) {
    const Liveness liveness(function, strides);
    RegisterPressure found;
    for (const BasicBlock& block : function) {
        const llvm::Loop* loop = loops.getLoopFor(&block);
        if (!loops.empty() && (loop == nullptr || !loop->isInnermost()))
            continue;
        found.liveWords = std::max(found.liveWords, liveness.maxLive(block));
        for (const Instruction& instruction : block) {
            found.scattered += scatteredIn(instruction, strides);
            if (instruction.getType()->isVoidTy() || strides.of(&instruction))
                continue;
            ++found.arithmetic;
            found.wide += instruction.getType()->isIntegerTy(64) ? 1 : 0;
        }
    }
    return found;
}

} // namespace compute::simd
