// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/TestLoopsFirst.h"

#include "compute/spirv/passes/Loops.h"

#include <llvm/Analysis/InstructionSimplify.h>
#include <llvm/Transforms/Utils/BasicBlockUtils.h>

namespace compute::spirv {
namespace {

/// A loop in simplified and LCSSA form whose latch compares something with an invariant.
class LatchTest {
public:
    LatchTest(const llvm::Loop& loop, llvm::LoopInfo& loops)
        : m_loop(loop),
          m_loops(loops),
          m_header(*loop.getHeader()),
          m_latch(*loop.getLoopLatch()) {}

    /// Changes nothing for a loop that has another form, may have no iteration for all
    /// that is known, or of which values are needed that the next iteration does not begin with.
    void moveToHeader() {
        auto* branch = llvm::dyn_cast<llvm::BranchInst>(m_latch.getTerminator());
        if (branch == nullptr)
            return;
        m_test = llvm::dyn_cast<llvm::ICmpInst>(branch->getCondition());
        if (m_test == nullptr || !m_loop.contains(m_test))
            return;
        const unsigned exit = m_loop.contains(branch->getSuccessor(0)) ? 1 : 0;
        llvm::BasicBlock& behind = *branch->getSuccessor(exit);
        llvm::PHINode* counted = phiThatBecomes(*m_test->getOperand(0));
        if (counted == nullptr || !m_loop.isLoopInvariant(m_test->getOperand(1)) ||
            !entersWith(*counted, exit))
            return;
        llvm::SmallVector<llvm::Value*> values;
        for (llvm::PHINode& phi : behind.phis()) {
            values.push_back(atHeader(*phi.getIncomingValueForBlock(&m_latch), *counted, exit));
            if (values.back() == nullptr)
                return;
        }
        move(*branch, *counted, exit, behind, values);
    }

private:
    llvm::PHINode* phiThatBecomes(const llvm::Value& value) const {
        for (llvm::PHINode& phi : m_header.phis())
            if (phi.getIncomingValueForBlock(&m_latch) == &value)
                return &phi;
        return nullptr;
    }

    bool entersWith(const llvm::PHINode& counted, unsigned exit) const {
        llvm::Value* first = counted.getIncomingValueForBlock(m_loop.getLoopPreheader());
        const auto* result = llvm::dyn_cast_or_null<llvm::ConstantInt>(llvm::simplifyCmpInst(
            m_test->getPredicate(), first, m_test->getOperand(1), m_header.getDataLayout()));
        return result != nullptr && result->isOne() == (exit == 1);
    }

    /// What the value behind the loop is called when the next iteration begins; null if nothing.
    llvm::Value* atHeader(llvm::Value& value, llvm::PHINode& counted, unsigned exit) const {
        const auto endsWhen = exit == 0 ? m_test->getPredicate() : m_test->getInversePredicate();
        if (endsWhen == llvm::CmpInst::ICMP_EQ && &value == m_test->getOperand(1))
            return &counted;
        return m_loop.isLoopInvariant(&value) ? &value : phiThatBecomes(value);
    }

    void move(llvm::BranchInst& branch, llvm::PHINode& counted, unsigned exit,
              llvm::BasicBlock& behind, llvm::ArrayRef<llvm::Value*> values) {
        llvm::BasicBlock* body =
            llvm::SplitBlock(&m_header, &*m_header.getFirstNonPHIIt(),
                             static_cast<llvm::DominatorTree*>(nullptr), &m_loops);
        // A latch that was the header, too, is now the body.
        llvm::BasicBlock* latch = branch.getParent();
        m_header.getTerminator()->eraseFromParent();
        llvm::IRBuilder<> builder(&m_header);
        llvm::Value* test =
            builder.CreateICmp(m_test->getPredicate(), &counted, m_test->getOperand(1));
        builder.CreateCondBr(test, exit == 0 ? &behind : body, exit == 0 ? body : &behind);
        for (auto [phi, value] : llvm::zip_equal(behind.phis(), values)) {
            phi.removeIncomingValue(latch, /*DeletePHIIfEmpty=*/false);
            phi.addIncoming(value, &m_header);
        }
        builder.SetInsertPoint(&branch);
        builder.CreateBr(&m_header);
        branch.eraseFromParent();
        if (m_test->use_empty())
            m_test->eraseFromParent();
    }

    const llvm::Loop& m_loop;
    llvm::LoopInfo& m_loops;
    llvm::BasicBlock& m_header;
    llvm::BasicBlock& m_latch;
    llvm::ICmpInst* m_test = nullptr;
};

bool endsInSeveralPlaces(const llvm::Loop& loop) {
    llvm::SmallVector<llvm::BasicBlock*> exiting;
    loop.getExitingBlocks(exiting);
    return exiting.size() > 1 && loop.isLoopSimplifyForm() &&
           loop.isLoopExiting(loop.getLoopLatch());
}

} // namespace

platform::Result<void> testLoopsFirst(Lowering& lowering) {
    forEachLoop(lowering, [](llvm::Loop& loop, llvm::LoopInfo& loops) {
        if (endsInSeveralPlaces(loop) && !readsMemory(loop))
            LatchTest(loop, loops).moveToHeader();
    });
    return {};
}

} // namespace compute::spirv
