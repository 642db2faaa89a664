// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/PartialInlining.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/ADT/SetVector.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/Operator.h>

namespace compute::kernel {
namespace {

using llvm::BasicBlock;
using llvm::Instruction;
using SizeOf = llvm::function_ref<double(llvm::Function&)>;

bool isQuickToAsk(BasicBlock& block, SizeOf sizeOf) {
    constexpr double most = 150;
    double instructions = 0;
    for (Instruction& instruction : block) {
        const auto* call = llvm::dyn_cast<llvm::CallInst>(&instruction);
        llvm::Function* callee = call != nullptr ? call->getCalledFunction() : nullptr;
        instructions += callee != nullptr && !callee->isDeclaration() ? sizeOf(*callee) : 1;
    }
    return instructions <= most;
}

/// The block where the function ends; null if there are several or it does something.
BasicBlock* endOf(llvm::Function& function) {
    BasicBlock* end = nullptr;
    for (BasicBlock& block : function)
        if (llvm::isa<llvm::ReturnInst>(block.getTerminator())) {
            if (end != nullptr || &block.front() != block.getTerminator())
                return nullptr;
            end = &block;
        }
    return end;
}

/// Where the thread comes from the block unless it has nothing to do; null if it always has.
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

/// Whether the instruction reads from the memory that a parameter points to at a place that differs
/// from call to call. Such memory cannot be passed as values.
bool readsAnywhere(const Instruction& instruction) {
    const auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction);
    const auto* step =
        load != nullptr ? llvm::dyn_cast<llvm::GEPOperator>(load->getPointerOperand()) : nullptr;
    return step != nullptr && !step->hasAllConstantIndices() &&
           llvm::isa<llvm::Argument>(llvm::getUnderlyingObject(step));
}

class Split {
public:
    Split(llvm::Function& function, BasicBlock& start, BasicBlock& end)
        : m_function(function), m_end(end) {
        BasicBlock* rest = start.splitBasicBlock(firstOfRest(start));
        m_rest.insert(rest);
        for (std::size_t i = 0; i < m_rest.size(); ++i)
            for (BasicBlock* next : llvm::successors(m_rest[i]))
                if (next != &end)
                    m_rest.insert(next);
    }

    llvm::Function* run();

private:
    static BasicBlock::iterator firstOfRest(BasicBlock& start) {
        for (Instruction& instruction : llvm::reverse(start))
            if (readsAnywhere(instruction))
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

/// Variables that only the rest uses become its own.
void Split::sinkVariables() {
    for (Instruction& instruction : llvm::make_early_inc_range(m_function.getEntryBlock()))
        if (llvm::isa<llvm::AllocaInst>(instruction) &&
            llvm::all_of(instruction.uses(), [&](const llvm::Use& use) { return isInRest(use); }))
            instruction.moveBefore(&m_rest[0]->front());
}

/// The rest computes the addresses of what parameters point to by itself: two pointers to the same
/// memory could not be passed by its values.
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

llvm::Function* Split::run() {
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
    auto* made = llvm::Function::Create(
        llvm::FunctionType::get(m_function.getReturnType(), types, false),
        llvm::GlobalValue::InternalLinkage, m_function.getName(), m_function.getParent());
    made->setAttributes(m_function.getAttributes());

    BasicBlock* ask = m_rest[0]->getSinglePredecessor();
    moveBlocks(*made, passed);
    llvm::IRBuilder<> builder(ask->getTerminator());
    llvm::CallInst* call = builder.CreateCall(made, passed);
    for (unsigned i = 0; i < m_function.arg_size(); ++i)
        call->setAttributes(call->getAttributes().addParamAttributes(
            call->getContext(), i,
            llvm::AttrBuilder(call->getContext(), m_function.getAttributes().getParamAttrs(i))));
    builder.CreateBr(&m_end);
    ask->getTerminator()->eraseFromParent();
    return made;
}

} // namespace

llvm::Function* splitGuards(llvm::Function& function, SizeOf sizeOf) {
    BasicBlock* end = endOf(function);
    if (end == nullptr || !function.getReturnType()->isVoidTy())
        return nullptr;
    BasicBlock* start = &function.getEntryBlock();
    while (isQuickToAsk(*start, sizeOf)) {
        BasicBlock* next = behindGuard(*start, end);
        if (next == nullptr)
            break;
        start = next;
    }
    if (start == &function.getEntryBlock())
        return nullptr;
    return Split(function, *start, *end).run();
}

} // namespace compute::kernel
