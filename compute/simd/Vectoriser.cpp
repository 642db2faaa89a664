// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/Vectoriser.h"

#include "compute/kernel/BindParameters.h"
#include "compute/simd/CommonDivisors.h"
#include "compute/simd/WidenArithmetic.h"
#include "compute/simd/WidenControl.h"

#include <llvm/IR/InstIterator.h>
#include <llvm/Transforms/Utils/BasicBlockUtils.h>
#include <llvm/Transforms/Utils/LCSSA.h>
#include <llvm/Transforms/Utils/LoopSimplify.h>

namespace compute::simd {
namespace {

/// Of all lanes together, as for one thread of the scalar kernel: the stacks are made for that.
constexpr std::uint64_t maxPrivateBytes = 1u << 20;
/// Pieces may be nested this deeply; laying them out takes stack.
constexpr unsigned maxDepth = 2000;
/// Processors whose vectors have no more lanes may lack a fused multiply-add.
constexpr unsigned lanesWithoutFusing = 4;

const char* obstacle(const llvm::Instruction& instruction) {
    if (llvm::isa<llvm::CallBase>(instruction) || !instruction.mayReadOrWriteMemory())
        return arithmeticObstacle(instruction);
    if (llvm::isa<llvm::LoadInst, llvm::StoreInst, llvm::AtomicRMWInst, llvm::AtomicCmpXchgInst>(
            instruction))
        return arithmeticObstacle(instruction);
    return "an instruction with effects";
}

platform::Result<void> checkInstructions(llvm::Function& kernel) {
    for (const llvm::Instruction& instruction : llvm::instructions(kernel)) {
        if (instruction.isTerminator() &&
            !llvm::isa<llvm::BranchInst, llvm::ReturnInst>(instruction))
            return platform::Error{"it has an unusual branch"};
        if (const char* reason = obstacle(instruction))
            return platform::Error{std::string("it has ") + reason};
    }
    return {};
}

/// Gives each way of a branch that all threads take together a block of its own.
void splitCommonEdges(llvm::Function& kernel, const Uniformity& uniformity,
                      llvm::DominatorTree& dominators, llvm::LoopInfo& loops) {
    llvm::SmallVector<llvm::BasicBlock*> blocks;
    for (llvm::BasicBlock& block : kernel)
        blocks.push_back(&block);
    for (llvm::BasicBlock* block : blocks) {
        auto* branch = llvm::dyn_cast<llvm::BranchInst>(block->getTerminator());
        if (branch == nullptr || !branch->isConditional() ||
            branch->getSuccessor(0) == branch->getSuccessor(1))
            continue;
        const llvm::Loop* loop = loops.getLoopFor(block);
        for (unsigned i : {0u, 1u}) {
            llvm::BasicBlock* way = branch->getSuccessor(i);
            const bool staysInLoop = loop == nullptr || loop->contains(way);
            const bool isBackEdge = loop != nullptr && loop->getHeader() == way;
            if (way->getSinglePredecessor() == nullptr && staysInLoop &&
                (isBackEdge || !uniformity.parts(*block)))
                llvm::SplitEdge(block, way, &dominators, &loops);
        }
    }
}

class KernelVectoriser final : public Vectoriser {
public:
    KernelVectoriser(llvm::Function& kernel, unsigned lanes)
        : m_kernel(kernel),
          m_lanes(lanes),
          m_dominators(kernel),
          m_loops(m_dominators),
          m_memory(kernel) {
        do
            analyseControl();
        while (m_memory.refute(*m_uniformity, *m_tree, m_dominators));
        if (lanes > lanesWithoutFusing && divideByReciprocals(kernel, *m_uniformity))
            analyseControl();
        m_strides = std::make_unique<Strides>(kernel, m_loops, *m_uniformity, m_memory);
        m_groups = std::make_unique<AccessGroups>(kernel, *m_strides, m_memory);
    }

    platform::Result<void> check() const {
        if (m_memory.bytes(m_lanes) > maxPrivateBytes)
            return platform::Error{"its private arrays are too large"};
        if (m_tree->depth() > maxDepth)
            return platform::Error{"its blocks are nested too deeply"};
        return {};
    }

    llvm::BasicBlock& widen(const Frame& frame) override {
        LaneBuilder builder(frame.entry, m_lanes);
        WideValues values(builder, *m_strides, frame.entry);
        builder.SetInsertPoint(&frame.body);
        llvm::Argument* x = m_kernel.getArg(kernel::XArgument);
        llvm::Value* positions = wideOfEven(builder, values, &frame.x, 1);
        values.setScalar(x, &frame.x);
        values.setWide(x, positions);
        llvm::Value* everyThread = builder.CreateICmpULT(positions, values.wide(&frame.end));

        WidenMemory memory(builder, values, *m_groups, m_memory, everyThread);
        for (llvm::Instruction& instruction :
             llvm::make_early_inc_range(llvm::instructions(m_kernel)))
            if (auto* variable = llvm::dyn_cast<llvm::AllocaInst>(&instruction)) {
                if (m_memory.kind(variable) == PrivateMemory::Kind::Shared)
                    variable->moveBefore(frame.entry, frame.entry.begin());
                else
                    memory.widenVariable(*variable);
            }
        WidenControl(builder, values, memory, *m_tree, *m_uniformity).run(m_kernel, everyThread);
        return *builder.GetInsertBlock();
    }

private:
    void analyseControl() {
        m_uniformity = std::make_unique<Uniformity>(m_kernel, m_memory.varying());
        splitCommonEdges(m_kernel, *m_uniformity, m_dominators, m_loops);
        m_tree = std::make_unique<ControlTree>(m_kernel, m_dominators, m_loops, *m_uniformity);
    }

    llvm::Function& m_kernel;
    unsigned m_lanes;
    llvm::DominatorTree m_dominators;
    llvm::LoopInfo m_loops;
    PrivateMemory m_memory;
    std::unique_ptr<const Uniformity> m_uniformity;
    std::unique_ptr<const ControlTree> m_tree;
    std::unique_ptr<const Strides> m_strides;
    std::unique_ptr<const AccessGroups> m_groups;
};

} // namespace

platform::Result<std::unique_ptr<Vectoriser>>
Vectoriser::analyse(llvm::Function& kernel, kernel::Analyses& analyses, unsigned lanes) {
    SL42_TRY_VOID(checkInstructions(kernel));
    llvm::FunctionPassManager passes;
    passes.addPass(llvm::LoopSimplifyPass());
    passes.addPass(llvm::LCSSAPass());
    analyses.run(passes, kernel);
    auto made = std::make_unique<KernelVectoriser>(kernel, lanes);
    analyses.forget(kernel);
    SL42_TRY_VOID(made->check());
    return std::unique_ptr<Vectoriser>(std::move(made));
}

} // namespace compute::simd
