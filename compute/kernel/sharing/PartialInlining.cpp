// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/PartialInlining.h"

#include "compute/kernel/Calls.h"
#include "compute/kernel/Signatures.h"
#include "compute/kernel/sharing/CallGraph.h"
#include "compute/kernel/sharing/ChooseShared.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/ADT/SetVector.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/Operator.h>

namespace compute::kernel {
namespace {

using llvm::BasicBlock;
using llvm::Instruction;

/// Whether the block is short enough to be copied to each call.
bool isCheap(const BasicBlock& block, const CallGraph& graph) {
    constexpr double mostInstructions = 150;
    double instructions = 0;
    for (const Instruction& instruction : block) {
        llvm::Function* callee = calledFunction(instruction);
        instructions += callee != nullptr ? graph.size(callee) : 1;
    }
    return instructions <= mostInstructions;
}

/// The only block that returns, if it does nothing else; or null.
BasicBlock* emptyExit(llvm::Function& function) {
    BasicBlock* end = nullptr;
    for (BasicBlock& block : function)
        if (llvm::isa<llvm::ReturnInst>(block.getTerminator())) {
            if (end != nullptr || &block.front() != block.getTerminator())
                return nullptr;
            end = &block;
        }
    return end;
}

/// If the block ends with a guard, which goes either to `end` or on: the block that it goes on to,
/// which must have no other predecessor. Null if there is no such guard.
BasicBlock* behindGuard(const BasicBlock& block, const BasicBlock* end) {
    const auto* branch = llvm::dyn_cast<llvm::BranchInst>(block.getTerminator());
    if (branch == nullptr || !branch->isConditional())
        return nullptr;
    for (unsigned way : {0U, 1U})
        if (branch->getSuccessor(way) == end) {
            BasicBlock* other = branch->getSuccessor(1 - way);
            return other != end && other->getSinglePredecessor() == &block ? other : nullptr;
        }
    return nullptr;
}

/// Whether the instruction reads at a variable offset from a parameter. What that parameter points
/// to cannot be passed as values.
bool readsAtVariableOffset(const Instruction& instruction) {
    const auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction);
    const auto* step =
        load != nullptr ? llvm::dyn_cast<llvm::GEPOperator>(load->getPointerOperand()) : nullptr;
    return step != nullptr && !step->hasAllConstantIndices() &&
           llvm::isa<llvm::Argument>(llvm::getUnderlyingObject(step));
}

/// Outlines what follows the guards of one function.
class Split {
public:
    /// `start` is the first block behind the guards.
    Split(llvm::Function& function, BasicBlock& start, BasicBlock& end)
        : m_function(function), m_end(end) {
        BasicBlock* rest = start.splitBasicBlock(firstOfRest(start));
        m_rest.insert(rest);
        for (std::size_t i = 0; i < m_rest.size(); ++i)
            for (BasicBlock* next : llvm::successors(m_rest[i]))
                if (next != &end)
                    m_rest.insert(next);
    }

    void run();

private:
    static BasicBlock::iterator firstOfRest(BasicBlock& start) {
        for (Instruction& instruction : llvm::reverse(start))
            if (readsAtVariableOffset(instruction))
                return std::next(instruction.getIterator());
        return start.getFirstNonPHIIt();
    }
    bool isInRest(const llvm::Use& use) const {
        return m_rest.contains(llvm::cast<Instruction>(use.getUser())->getParent());
    }
    void sinkVariables();
    void copyAddresses();
    llvm::SetVector<Instruction*> valuesFromBefore() const;
    void moveBlocks(llvm::Function& made, llvm::ArrayRef<llvm::Value*> passed);

    llvm::Function& m_function;
    BasicBlock& m_end;
    llvm::SetVector<BasicBlock*> m_rest; ///< the first comes first
};

/// Moves the variables that only the rest uses into it.
void Split::sinkVariables() {
    for (Instruction& instruction : llvm::make_early_inc_range(m_function.getEntryBlock()))
        if (llvm::isa<llvm::AllocaInst>(instruction) &&
            llvm::all_of(instruction.uses(), [&](const llvm::Use& use) { return isInRest(use); }))
            instruction.moveBefore(&m_rest[0]->front());
}

/// Has the rest compute constant offsets from parameters by itself. Passed as arguments they would
/// be further pointers to the same memory, and memory that two parameters point to cannot be passed
/// as values.
void Split::copyAddresses() {
    for (BasicBlock& block : m_function)
        for (Instruction& instruction : block) {
            auto* address = llvm::dyn_cast<llvm::GetElementPtrInst>(&instruction);
            if (address == nullptr || m_rest.contains(&block) ||
                !address->hasAllConstantIndices() ||
                !llvm::isa<llvm::Argument>(address->getPointerOperand()))
                continue;
            Instruction* copy = address->clone();
            copy->insertBefore(&*m_rest[0]->getFirstInsertionPt());
            address->replaceUsesWithIf(copy, [&](llvm::Use& use) { return isInRest(use); });
        }
}

llvm::SetVector<Instruction*> Split::valuesFromBefore() const {
    llvm::SetVector<Instruction*> values;
    for (BasicBlock* block : m_rest)
        for (Instruction& instruction : *block)
            for (llvm::Value* operand : instruction.operands())
                if (auto* value = llvm::dyn_cast<Instruction>(operand);
                    value != nullptr && !m_rest.contains(value->getParent()))
                    values.insert(value);
    return values;
}

void Split::moveBlocks(llvm::Function& made, llvm::ArrayRef<llvm::Value*> passed) {
    for (unsigned i = 0; i < passed.size(); ++i)
        passed[i]->replaceUsesWithIf(made.getArg(i), [&](llvm::Use& use) {
            return llvm::isa<Instruction>(use.getUser()) && isInRest(use);
        });
    BasicBlock* end = BasicBlock::Create(made.getContext(), "", &made);
    llvm::IRBuilder<>(end).CreateRetVoid();
    for (BasicBlock* block : m_rest) {
        block->removeFromParent();
        block->insertInto(&made, end);
        block->getTerminator()->replaceSuccessorWith(&m_end, end);
    }
}

void Split::run() {
    sinkVariables();
    copyAddresses();
    const llvm::SetVector<Instruction*> before = valuesFromBefore();
    llvm::SmallVector<llvm::Value*> passed;
    llvm::SmallVector<llvm::Type*> types;
    for (llvm::Argument& parameter : m_function.args())
        passed.push_back(&parameter);
    passed.append(before.begin(), before.end());
    for (const llvm::Value* value : passed)
        types.push_back(value->getType());
    llvm::Function& made =
        declareLike(m_function, *llvm::FunctionType::get(m_function.getReturnType(), types, false),
                    m_function.getName());
    made.setAttributes(m_function.getAttributes());
    made.addFnAttr(outlinedAttribute);

    BasicBlock* guard = m_rest[0]->getSinglePredecessor();
    moveBlocks(made, passed);
    llvm::IRBuilder<> builder(guard->getTerminator());
    llvm::CallInst* call = builder.CreateCall(&made, passed);
    for (unsigned i = 0; i < m_function.arg_size(); ++i)
        call->setAttributes(call->getAttributes().addParamAttributes(
            call->getContext(), i,
            llvm::AttrBuilder(call->getContext(), m_function.getAttributes().getParamAttrs(i))));
    builder.CreateBr(&m_end);
    guard->getTerminator()->eraseFromParent();
}

/// Outlines what follows the guards at the function's begin. False, with nothing changed, when it
/// does not begin with any or returns something.
bool split(llvm::Function& function, const CallGraph& graph) {
    BasicBlock* end = emptyExit(function);
    if (end == nullptr || !function.getReturnType()->isVoidTy())
        return false;
    BasicBlock* start = &function.getEntryBlock();
    while (isCheap(*start, graph)) {
        BasicBlock* next = behindGuard(*start, end);
        if (next == nullptr)
            break;
        start = next;
    }
    if (start == &function.getEntryBlock())
        return false;
    Split(function, *start, *end).run();
    return true;
}

} // namespace

bool isOutlined(const llvm::Function& function) {
    return function.hasFnAttribute(outlinedAttribute);
}

platform::Result<void> inlinePartially(PassContext& context) {
    const double enough = worthOutlining * context.options.shareAbove;
    CallGraph graph(*context.entry);
    if (graph.isRecursive() || graph.weigh() <= enough)
        return {};
    for (llvm::Function* function : graph.calleesFirst())
        if (function != context.entry && !function->isConvergent() &&
            graph.saving(function) > enough && split(*function, graph))
            context.analyses.functions().clear(*function, function->getName());
    return {};
}

} // namespace compute::kernel
