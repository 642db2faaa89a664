// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/ClampIndices.h"

#include <llvm/IR/GetElementPtrTypeIterator.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/Operator.h>
#include <llvm/IR/PatternMatch.h>

namespace compute::kernel {
namespace {

/// Calls the visitor with the number of each operand that is an index into an array, and how many
/// elements the array has. The first index is pointer arithmetic.
template <class Visitor>
void eachArrayIndex(const llvm::GEPOperator& address, const Visitor& visit) {
    llvm::Type* container = nullptr; // what the index of this step goes into
    unsigned operand = 1;
    for (auto step = llvm::gep_type_begin(address); step != llvm::gep_type_end(address);
         container = step.getIndexedType(), ++step, ++operand)
        if (auto* array = llvm::dyn_cast_if_present<llvm::ArrayType>(container))
            if (array->getNumElements() > 0)
                visit(operand, array->getNumElements());
}

bool isBelow(llvm::Value* index, std::uint64_t count) {
    using namespace llvm::PatternMatch;
    const llvm::APInt* limit = nullptr;
    return (match(index, m_APInt(limit)) ||
            match(index, m_Intrinsic<llvm::Intrinsic::umin>(m_Value(), m_APInt(limit)))) &&
           limit->ult(count);
}

/// The same address with its indices clamped.
llvm::Constant* clamped(llvm::Constant* constant) {
    auto* address = llvm::dyn_cast<llvm::GEPOperator>(constant);
    if (address == nullptr)
        return constant;
    llvm::SmallVector<llvm::Constant*> operands;
    for (llvm::Use& operand : address->operands())
        operands.push_back(llvm::cast<llvm::Constant>(operand.get()));
    operands[0] = clamped(operands[0]);
    eachArrayIndex(*address, [&](unsigned operand, std::uint64_t count) {
        llvm::Constant*& index = operands[operand];
        if (!isBelow(index, count))
            index = llvm::ConstantInt::get(index->getType(), count - 1);
    });
    return llvm::cast<llvm::ConstantExpr>(constant)->getWithOperands(operands);
}

/// The front end says of references, and of the object of a method, how they are aligned; of
/// pointers it does not.
bool isReference(const llvm::CallInst& call, unsigned argument) {
    return call.getParamAlign(argument).has_value();
}

/// Whether the instruction reads or writes through the operand, or through one that is made of it.
/// A reference that a function returns is one to an element, too.
bool isAccess(const llvm::Use& use) {
    const unsigned operand = use.getOperandNo();
    const llvm::User* user = use.getUser();
    if (const auto* leave = llvm::dyn_cast<llvm::ReturnInst>(user))
        return leave->getFunction()->getAttributes().getRetAlignment().has_value();
    if (const auto* call = llvm::dyn_cast<llvm::CallInst>(user))
        return call->isArgOperand(&use) &&
               (llvm::isa<llvm::MemIntrinsic>(call) || isReference(*call, operand));
    return llvm::isa<llvm::GetElementPtrInst, llvm::LoadInst, llvm::AtomicRMWInst,
                     llvm::AtomicCmpXchgInst>(user)
               ? operand == 0
               : llvm::isa<llvm::StoreInst>(user) && operand == 1;
}

/// Clamps the indices of the address, or of all addresses that a select or phi chooses from.
void clampAddress(llvm::Use& use) {
    if (auto* constant = llvm::dyn_cast<llvm::ConstantExpr>(use)) {
        use.set(clamped(constant));
    } else if (auto* address = llvm::dyn_cast<llvm::GetElementPtrInst>(use)) {
        clampIndices(*address);
    } else if (auto* select = llvm::dyn_cast<llvm::SelectInst>(use)) {
        clampAddress(select->getOperandUse(1));
        clampAddress(select->getOperandUse(2));
    } else if (auto* phi = llvm::dyn_cast<llvm::PHINode>(use)) {
        // Variables are still in memory: only `a ? b : c` makes these, and none leads to itself.
        for (llvm::Use& way : phi->incoming_values())
            clampAddress(way);
    }
}

} // namespace

void clampIndices(llvm::GetElementPtrInst& address) {
    eachArrayIndex(
        llvm::cast<llvm::GEPOperator>(address), [&](unsigned operand, std::uint64_t count) {
            llvm::Value* index = address.getOperand(operand);
            if (isBelow(index, count))
                return;
            llvm::IRBuilder<> builder(&address);
            // Negative indices are large unsigned ones and end up at the last element as well.
            address.setOperand(operand, builder.CreateBinaryIntrinsic(
                                            llvm::Intrinsic::umin, index,
                                            llvm::ConstantInt::get(index->getType(), count - 1)));
        });
}

platform::Result<void> clampIndices(PassContext& context) {
    for (llvm::Function& function : context.module) {
        for (llvm::Instruction& instruction : llvm::instructions(function))
            for (llvm::Use& use : instruction.operands())
                if (use->getType()->isPointerTy() && isAccess(use))
                    clampAddress(use);
        context.analyses.forget(function);
    }
    return {};
}

} // namespace compute::kernel
