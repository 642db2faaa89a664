// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/ThreadLoop.h"

#include "compute/kernel/BindParameters.h"

#include <llvm/ADT/DenseMap.h>
#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/Analysis/MemorySSA.h>
#include <llvm/Analysis/PostDominators.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/Transforms/Utils/Cloning.h>

#include <algorithm>
#include <array>

namespace compute::host {
namespace {

/// How often a value changes; also the index of the loop level that computes it.
enum Level : unsigned { PerTile, PerSlice, PerRow, PerThread, LevelCount };

/// Finds, for each instruction of a canonical function, the outermost loop that may compute it.
class Hoisting {
public:
    Hoisting(llvm::Function& kernel, kernel::Analyses& analyses)
        : m_memory(analyses.functions().getResult<llvm::MemorySSAAnalysis>(kernel).getMSSA()),
          m_postDominators(analyses.functions().getResult<llvm::PostDominatorTreeAnalysis>(kernel)),
          m_kernel(kernel) {
        m_levels[kernel.getArg(kernel::ZArgument)] = PerSlice;
        m_levels[kernel.getArg(kernel::YArgument)] = PerRow;
        m_levels[kernel.getArg(kernel::XArgument)] = PerThread;
        for (llvm::BasicBlock* block : llvm::ReversePostOrderTraversal(&kernel))
            for (llvm::Instruction& instruction : *block)
                m_levels[&instruction] = findLevel(instruction);
    }

    /// In an order in which operands come before their users.
    std::vector<llvm::Instruction*> instructions(Level level) const {
        std::vector<llvm::Instruction*> found;
        for (llvm::BasicBlock* block : llvm::ReversePostOrderTraversal(&m_kernel))
            for (llvm::Instruction& instruction : *block)
                if (m_levels.lookup(&instruction) == level)
                    found.push_back(&instruction);
        return found;
    }

private:
    Level findLevel(llvm::Instruction& instruction) const {
        if (!mayMove(instruction))
            return PerThread;
        Level level = PerTile;
        for (llvm::Value* operand : instruction.operands())
            if (llvm::isa<llvm::Instruction, llvm::Argument>(operand))
                level = std::max(level, m_levels.lookup(operand));
        return level;
    }

    bool mayMove(llvm::Instruction& instruction) const {
        if (llvm::isa<llvm::PHINode, llvm::AllocaInst>(instruction) || instruction.isTerminator())
            return false;
        if (auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction))
            return mayMoveLoad(*load);
        return !instruction.mayReadOrWriteMemory() &&
               llvm::isSafeToSpeculativelyExecute(&instruction);
    }

    bool mayMoveLoad(llvm::LoadInst& load) const {
        if (!load.isSimple())
            return false;
        const bool isReached =
            m_postDominators.dominates(load.getParent(), &m_kernel.getEntryBlock());
        if (!isReached && !llvm::isSafeToSpeculativelyExecute(&load))
            return false;
        if (load.hasMetadata(llvm::LLVMContext::MD_invariant_load))
            return true;
        return m_memory.isLiveOnEntryDef(m_memory.getWalker()->getClobberingMemoryAccess(&load));
    }

    llvm::MemorySSA& m_memory;
    llvm::PostDominatorTree& m_postDominators;
    llvm::Function& m_kernel;
    llvm::DenseMap<llvm::Value*, Level> m_levels;
};

/// The empty nest of loops that a kernel goes into.
struct LoopNest {
    llvm::Function* function = nullptr;
    std::array<llvm::BasicBlock*, LevelCount> blocks{}; ///< where values of a level are computed
    std::array<llvm::PHINode*, 3> position{};           ///< x, y, z
    llvm::BasicBlock* rowEnd = nullptr;                 ///< where a thread goes when it is done
    llvm::Value* end = nullptr;                         ///< of the row
};

llvm::Function* createTileFunction(llvm::Function& kernel) {
    llvm::LLVMContext& context = kernel.getContext();
    llvm::Type* pointer = llvm::PointerType::get(context, 0);
    auto* type =
        llvm::FunctionType::get(llvm::Type::getVoidTy(context), {pointer, pointer, pointer}, false);
    auto* tile = llvm::Function::Create(type, llvm::GlobalValue::ExternalLinkage,
                                        llvm::StringRef(tileSymbol.data(), tileSymbol.size()),
                                        kernel.getParent());
    tile->copyAttributesFrom(&kernel);
    tile->setAttributes(llvm::AttributeList::get(
        context, kernel.getAttributes().getFnAttrs(), {},
        {kernel.getAttributes().getParamAttrs(0), kernel.getAttributes().getParamAttrs(1)}));
    tile->addParamAttr(2, llvm::Attribute::NoAlias);
    tile->addParamAttr(2, llvm::Attribute::ReadOnly);
    // A frame larger than the guard page below the stack must not step over it.
    tile->addFnAttr("probe-stack", "inline-asm");
    return tile;
}

/// `lanes`: the threads that the innermost loop takes at once.
LoopNest createLoopNest(llvm::Function& kernel, unsigned lanes) {
    LoopNest nest;
    nest.function = createTileFunction(kernel);
    llvm::LLVMContext& context = kernel.getContext();
    const auto block = [&](const char* name) {
        return llvm::BasicBlock::Create(context, name, nest.function);
    };
    nest.blocks = {block("tile"), block("slice"), block("row"), block("thread")};
    llvm::IRBuilder<> builder(nest.blocks[PerTile]);
    std::array<llvm::Value*, 6> bounds;
    for (unsigned i = 0; i < bounds.size(); ++i)
        bounds[i] = builder.CreateLoad(
            builder.getInt32Ty(),
            builder.CreateConstGEP1_32(builder.getInt32Ty(), nest.function->getArg(2), i));

    std::array<llvm::BasicBlock*, 3> ends = {block("thread.end"), block("row.end"),
                                             block("slice.end")};
    llvm::BasicBlock* done = block("done");
    for (unsigned axis = 0; axis < 3; ++axis) {
        llvm::BasicBlock* outside = nest.blocks[PerRow - axis];
        llvm::BasicBlock* inside = nest.blocks[PerThread - axis];
        builder.SetInsertPoint(outside);
        builder.CreateBr(inside);
        builder.SetInsertPoint(inside, inside->begin());
        llvm::PHINode* position = builder.CreatePHI(builder.getInt32Ty(), 2);
        builder.SetInsertPoint(ends[axis]);
        llvm::Value* next = builder.CreateNUWAdd(position, builder.getInt32(axis == 0 ? lanes : 1));
        builder.CreateCondBr(builder.CreateICmpULT(next, bounds[3 + axis]), inside,
                             axis == 2 ? done : ends[axis + 1]);
        position->addIncoming(bounds[axis], outside);
        position->addIncoming(next, ends[axis]);
        nest.position[axis] = position;
    }
    nest.rowEnd = ends[0];
    nest.end = bounds[3];
    llvm::ReturnInst::Create(context, done);
    return nest;
}

/// Moves what the outer loops compute into them.
void fillOuterLoops(const LoopNest& nest, llvm::Function& kernel, const Hoisting& hoisting) {
    for (unsigned level = PerTile; level < PerThread; ++level)
        for (llvm::Instruction* instruction : hoisting.instructions(static_cast<Level>(level)))
            instruction->moveBefore(nest.blocks[level]->getTerminator());
    kernel.getArg(kernel::BindingsArgument)->replaceAllUsesWith(nest.function->getArg(0));
    kernel.getArg(kernel::GridArgument)->replaceAllUsesWith(nest.function->getArg(1));
    kernel.getArg(kernel::YArgument)->replaceAllUsesWith(nest.position[1]);
    kernel.getArg(kernel::ZArgument)->replaceAllUsesWith(nest.position[2]);
}

/// Moves the body of the kernel into the nest, instruction by instruction, without copying.
void fillWithThread(const LoopNest& nest, llvm::Function& kernel) {
    for (llvm::Instruction& instruction : llvm::make_early_inc_range(kernel.getEntryBlock()))
        if (auto* variable = llvm::dyn_cast<llvm::AllocaInst>(&instruction))
            variable->moveBefore(*nest.blocks[PerTile], nest.blocks[PerTile]->begin());

    llvm::BasicBlock* first = &kernel.getEntryBlock();
    for (llvm::BasicBlock& block : kernel)
        if (auto* leave = llvm::dyn_cast<llvm::ReturnInst>(block.getTerminator())) {
            llvm::BranchInst::Create(nest.rowEnd, &block);
            leave->eraseFromParent();
        }
    nest.function->splice(nest.rowEnd->getIterator(), &kernel);
    llvm::BranchInst::Create(first, nest.blocks[PerThread]);
    kernel.getArg(kernel::XArgument)->replaceAllUsesWith(nest.position[0]);
}

void fillWithLanes(const LoopNest& nest, simd::Vectoriser& vectoriser) {
    llvm::BasicBlock& last = vectoriser.widen({.entry = *nest.blocks[PerTile],
                                               .body = *nest.blocks[PerThread],
                                               .x = *nest.position[0],
                                               .end = *nest.end});
    llvm::BranchInst::Create(nest.rowEnd, &last);
}

} // namespace

llvm::Function& addThreadLoop(llvm::Function& kernel, kernel::Analyses& analyses,
                              simd::Vectoriser* vectoriser, unsigned lanes) {
    analyses.forget(kernel);
    const Hoisting hoisting(kernel, analyses);
    const LoopNest nest = createLoopNest(kernel, vectoriser != nullptr ? lanes : 1);
    fillOuterLoops(nest, kernel, hoisting);
    if (vectoriser != nullptr)
        fillWithLanes(nest, *vectoriser);
    else
        fillWithThread(nest, kernel);
    analyses.functions().clear(kernel, kernel.getName());
    kernel.dropAllReferences();
    kernel.eraseFromParent();
    return *nest.function;
}

} // namespace compute::host
