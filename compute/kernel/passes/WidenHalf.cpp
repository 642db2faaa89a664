// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/WidenHalf.h"

#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/Transforms/Scalar/ADCE.h>
#include <llvm/Transforms/Scalar/EarlyCSE.h>

namespace compute::kernel {
namespace {

/// Intrinsics whose operands and result are all of one floating-point type.
bool isElementwise(const llvm::Instruction& instruction) {
    const auto* call = llvm::dyn_cast<llvm::IntrinsicInst>(&instruction);
    if (call == nullptr)
        return false;
    return llvm::all_of(call->args(),
                        [&](const llvm::Use& use) { return use->getType() == call->getType(); });
}

/// Whether the instruction makes a half from halves and can make a float from floats instead.
bool canWiden(const llvm::Instruction& instruction) {
    return instruction.getType()->isHalfTy() &&
           (llvm::isa<llvm::BinaryOperator, llvm::UnaryOperator, llvm::PHINode, llvm::SelectInst,
                      llvm::FreezeInst>(instruction) ||
            isElementwise(instruction));
}

/// Whether the result of an operation on halves, computed in float, may need rounding: the others
/// choose among halves or make integers of them.
bool rounds(const llvm::Instruction& half) {
    if (llvm::isa<llvm::BinaryOperator>(half))
        return true;
    const auto* call = llvm::dyn_cast<llvm::IntrinsicInst>(&half);
    if (call == nullptr)
        return false;
    switch (call->getIntrinsicID()) {
    case llvm::Intrinsic::fabs:
    case llvm::Intrinsic::copysign:
    case llvm::Intrinsic::minnum:
    case llvm::Intrinsic::maxnum:
    case llvm::Intrinsic::minimum:
    case llvm::Intrinsic::maximum:
    case llvm::Intrinsic::floor:
    case llvm::Intrinsic::ceil:
    case llvm::Intrinsic::trunc:
    case llvm::Intrinsic::rint:
    case llvm::Intrinsic::nearbyint:
    case llvm::Intrinsic::round:
    case llvm::Intrinsic::roundeven:
    case llvm::Intrinsic::canonicalize:
        return false;
    default:
        return true;
    }
}

/// Whether it is a product that goes nowhere but into a sum, and both may become one operation.
bool isContracted(const llvm::Instruction& half) {
    if (half.getOpcode() != llvm::Instruction::FMul || !half.hasAllowContract() ||
        !half.hasOneUse())
        return false;
    const auto* sum = llvm::dyn_cast<llvm::BinaryOperator>(half.user_back());
    return sum != nullptr && sum->hasAllowContract() &&
           (sum->getOpcode() == llvm::Instruction::FAdd ||
            sum->getOpcode() == llvm::Instruction::FSub);
}

class Widener {
public:
    explicit Widener(llvm::Function& function)
        : m_function(function), m_float(llvm::Type::getFloatTy(function.getContext())) {}

    void run() {
        std::vector<llvm::Instruction*> halves;
        for (const llvm::BasicBlock* block : llvm::ReversePostOrderTraversal(&m_function))
            for (const llvm::Instruction& instruction : *block)
                if (canWiden(instruction))
                    halves.push_back(const_cast<llvm::Instruction*>(&instruction));
        for (llvm::Instruction* half : halves) {
            m_wide[half] = widen(*half);
            if (rounds(*half) && !isContracted(*half))
                round(*half);
        }
        for (llvm::Instruction* half : halves)
            if (auto* phi = llvm::dyn_cast<llvm::PHINode>(half))
                fillPhi(*phi);
        std::vector<llvm::Instruction*> users;
        for (llvm::Instruction& instruction : llvm::instructions(m_function))
            if (!canWiden(instruction) || !m_wide.contains(&instruction))
                users.push_back(&instruction);
        for (llvm::Instruction* user : users)
            rewriteUser(*user);
        for (llvm::Instruction* half : halves)
            half->replaceAllUsesWith(llvm::PoisonValue::get(half->getType()));
        for (llvm::Instruction* half : halves)
            half->eraseFromParent();
    }

private:
    /// From now on the value is its rounded one. Two roundings, to float and then to half, give
    /// what one would: a float has more than twice as many bits (Figueroa, "When is double rounding
    /// innocuous?", 1995).
    void round(llvm::Instruction& half) {
        llvm::Value*& computed = m_wide[&half];
        llvm::IRBuilder<> builder(&half);
        llvm::Value* rounded = builder.CreateFPTrunc(computed, half.getType());
        m_rounded[&half] = rounded;
        computed = builder.CreateFPExt(rounded, m_float);
    }

    /// The value as a float.
    llvm::Value* wide(llvm::Value* value) {
        if (const auto known = m_wide.find(value); known != m_wide.end())
            return known->second;
        llvm::Value* extended = nullptr;
        if (llvm::isa<llvm::Constant>(value)) {
            llvm::IRBuilder<> builder(m_function.getContext());
            extended = builder.CreateFPExt(value, m_float);
        } else {
            extended = builderBehind(*value).CreateFPExt(value, m_float);
        }
        m_wide[value] = extended;
        return extended;
    }

    /// The value rounded to half, for a user that takes nothing else.
    llvm::Value* rounded(llvm::Value* value) {
        llvm::Value*& half = m_rounded[value];
        if (half == nullptr) {
            llvm::Value* computed = m_wide.at(value);
            half = llvm::isa<llvm::Constant>(computed)
                       ? llvm::IRBuilder<>(m_function.getContext())
                             .CreateFPTrunc(computed, value->getType())
                       : builderBehind(*computed).CreateFPTrunc(computed, value->getType());
        }
        return half;
    }

    llvm::IRBuilder<> builderBehind(llvm::Value& value) {
        if (auto* instruction = llvm::dyn_cast<llvm::Instruction>(&value))
            return {instruction->getParent(), *instruction->getInsertionPointAfterDef()};
        llvm::BasicBlock& entry = m_function.getEntryBlock();
        return {&entry, entry.getFirstInsertionPt()};
    }

    llvm::Value* widen(llvm::Instruction& half) {
        llvm::IRBuilder<> builder(&half);
        if (llvm::isa<llvm::FPMathOperator>(half))
            builder.setFastMathFlags(half.getFastMathFlags());
        if (auto* phi = llvm::dyn_cast<llvm::PHINode>(&half))
            return builder.CreatePHI(m_float, phi->getNumIncomingValues());
        if (auto* select = llvm::dyn_cast<llvm::SelectInst>(&half))
            return builder.CreateSelect(select->getCondition(), wide(select->getTrueValue()),
                                        wide(select->getFalseValue()));
        if (auto* operation = llvm::dyn_cast<llvm::BinaryOperator>(&half))
            return builder.CreateBinOp(operation->getOpcode(), wide(operation->getOperand(0)),
                                       wide(operation->getOperand(1)));
        if (auto* operation = llvm::dyn_cast<llvm::UnaryOperator>(&half))
            return builder.CreateUnOp(operation->getOpcode(), wide(operation->getOperand(0)));
        if (llvm::isa<llvm::FreezeInst>(half))
            return builder.CreateFreeze(wide(half.getOperand(0)));
        auto& call = llvm::cast<llvm::IntrinsicInst>(half);
        llvm::SmallVector<llvm::Value*, 3> arguments;
        for (llvm::Use& argument : call.args())
            arguments.push_back(wide(argument));
        return builder.CreateIntrinsic(call.getIntrinsicID(), {m_float}, arguments);
    }

    void fillPhi(llvm::PHINode& half) {
        auto* phi = llvm::cast<llvm::PHINode>(m_wide.at(&half));
        for (unsigned i = 0; i < half.getNumIncomingValues(); ++i)
            phi->addIncoming(wide(half.getIncomingValue(i)), half.getIncomingBlock(i));
    }

    void rewriteUser(llvm::Instruction& user) {
        if (auto* compare = llvm::dyn_cast<llvm::FCmpInst>(&user);
            compare != nullptr && compare->getOperand(0)->getType()->isHalfTy()) {
            compare->setOperand(0, wide(compare->getOperand(0)));
            compare->setOperand(1, wide(compare->getOperand(1)));
            return;
        }
        for (llvm::Use& use : user.operands()) {
            auto* half = llvm::dyn_cast<llvm::Instruction>(use.get());
            if (half == nullptr || !canWiden(*half) || !m_wide.contains(half))
                continue;
            if (llvm::isa<llvm::FPExtInst>(user) && user.getType() == m_float) {
                user.replaceAllUsesWith(m_wide.at(half));
                return;
            }
            use.set(rounded(half));
        }
    }

    llvm::Function& m_function;
    llvm::Type* m_float;
    llvm::DenseMap<llvm::Value*, llvm::Value*> m_wide;
    llvm::DenseMap<llvm::Value*, llvm::Value*> m_rounded;
};

} // namespace

platform::Result<void> widenHalf(PassContext& context) {
    llvm::FunctionPassManager passes;
    passes.addPass(llvm::EarlyCSEPass());
    passes.addPass(llvm::ADCEPass());
    for (llvm::Function* function : context.functions()) {
        Widener(*function).run();
        context.analyses.run(passes, *function);
    }
    return {};
}

} // namespace compute::kernel
