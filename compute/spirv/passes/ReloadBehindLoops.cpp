// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/ReloadBehindLoops.h"

#include "compute/spirv/passes/Loops.h"

#include <llvm/IR/Instructions.h>

namespace compute::spirv {
namespace {

/// Chains of instructions that are looked through.
constexpr unsigned deepest = 16;

/// One loop, with the phis behind it that LCSSA form has, one for each value that is used there.
class Reloading {
public:
    Reloading(const Lowering& lowering, const llvm::Loop& loop, llvm::BasicBlock& behind)
        : m_lowering(lowering), m_loop(loop), m_behind(behind) {}

    void run() {
        llvm::IRBuilder<> builder(&m_behind, m_behind.getFirstInsertionPt());
        for (llvm::PHINode& phi : llvm::make_early_inc_range(m_behind.phis())) {
            if (phi.getNumIncomingValues() != 1 || !isLoaded(*phi.getIncomingValue(0), 0))
                continue;
            phi.replaceAllUsesWith(again(builder, *phi.getIncomingValue(0)));
            phi.eraseFromParent();
        }
    }

private:
    bool isLoad(const llvm::Instruction& instruction) const {
        const ShaderOperation operation = m_lowering.operationOf(instruction).operation;
        return llvm::isa<llvm::LoadInst>(instruction) || operation == ShaderOperation::BufferRead ||
               operation == ShaderOperation::BufferReadAll;
    }

    static bool isComputed(const llvm::Instruction& instruction) {
        return llvm::isa<llvm::UnaryOperator, llvm::BinaryOperator, llvm::CastInst, llvm::CmpInst,
                         llvm::SelectInst, llvm::ExtractElementInst, llvm::FreezeInst>(instruction);
    }

    /// Whether the value depends on what the loop loads, in the same iteration.
    bool isLoaded(const llvm::Value& value, unsigned depth) const {
        const auto* instruction = llvm::dyn_cast<llvm::Instruction>(&value);
        if (instruction == nullptr || !m_loop.contains(instruction) || depth > deepest)
            return false;
        return isLoad(*instruction) ||
               (isComputed(*instruction) && llvm::any_of(instruction->operands(), [&](auto& one) {
                    return isLoaded(*one, depth + 1);
                }));
    }

    /// The value behind the loop.
    llvm::Value* again(llvm::IRBuilder<>& builder, llvm::Value& value) {
        auto* instruction = llvm::dyn_cast<llvm::Instruction>(&value);
        if (instruction == nullptr || !m_loop.contains(instruction))
            return &value;
        if (llvm::Value* known = m_again.lookup(&value))
            return known;
        llvm::Value* made = nullptr;
        // A pointer is made right where it is used.
        if (isLoaded(value, 0) || llvm::isa<llvm::IntToPtrInst>(value)) {
            llvm::Instruction* clone = instruction->clone();
            for (llvm::Use& operand : clone->operands())
                operand.set(again(builder, *operand));
            made = builder.Insert(clone);
        } else {
            llvm::PHINode* kept = llvm::PHINode::Create(value.getType(), 1, "", m_behind.begin());
            kept->addIncoming(&value, m_behind.getUniquePredecessor());
            made = kept;
        }
        m_again[&value] = made;
        return made;
    }

    const Lowering& m_lowering;
    const llvm::Loop& m_loop;
    llvm::BasicBlock& m_behind;
    llvm::DenseMap<const llvm::Value*, llvm::Value*> m_again;
};

} // namespace

platform::Result<void> reloadBehindLoops(Lowering& lowering) {
    forEachLoop(lowering, [&](const llvm::Loop& loop, const llvm::LoopInfo&) {
        llvm::BasicBlock* behind = loop.getUniqueExitBlock();
        if (behind != nullptr && behind->getUniquePredecessor() != nullptr &&
            !hasAny(loop, &llvm::Instruction::mayWriteToMemory))
            Reloading(lowering, loop, *behind).run();
    });
    return {};
}

} // namespace compute::spirv
