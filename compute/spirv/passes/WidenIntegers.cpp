// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/WidenIntegers.h"

#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/ADT/bit.h>
#include <llvm/IR/InstIterator.h>

namespace compute::spirv {
namespace {

using Builder = llvm::IRBuilder<>;

constexpr unsigned narrowest = 8;
constexpr unsigned widest = 64;

bool isOdd(const llvm::Value& value) {
    if (!value.getType()->isIntegerTy())
        return false;
    const unsigned width = value.getType()->getIntegerBitWidth();
    return width != 1 && (width < narrowest || width > widest || !llvm::has_single_bit(width));
}

bool isSigned(const llvm::BinaryOperator& operation) {
    return operation.getOpcode() == llvm::Instruction::SDiv ||
           operation.getOpcode() == llvm::Instruction::SRem ||
           operation.getOpcode() == llvm::Instruction::AShr;
}

/// All of one function. What replaces a number has zeros above it at all times.
class Widening {
public:
    explicit Widening(llvm::Function& function) : m_function(function) {}

    /// The first instruction that it does not know, if any.
    llvm::Instruction* run() {
        for (llvm::BasicBlock* block : llvm::ReversePostOrderTraversal(&m_function))
            for (llvm::Instruction& instruction : llvm::make_early_inc_range(*block))
                if (!visit(instruction))
                    return &instruction;
        for (const auto& [narrow, made] : m_phis)
            for (unsigned i = 0; i < narrow->getNumIncomingValues(); ++i)
                made->addIncoming(wide(*narrow->getIncomingValue(i)), narrow->getIncomingBlock(i));
        for (llvm::Instruction* instruction : m_replaced)
            instruction->replaceAllUsesWith(llvm::PoisonValue::get(instruction->getType()));
        for (llvm::Instruction* instruction : m_replaced)
            instruction->eraseFromParent();
        return nullptr;
    }

private:
    /// False for what it does not know.
    bool visit(llvm::Instruction& instruction) {
        if (!isOdd(instruction) &&
            llvm::none_of(instruction.operands(), [](auto& one) { return isOdd(*one); }))
            return true;
        if (auto* choice = llvm::dyn_cast<llvm::SwitchInst>(&instruction)) {
            for (auto& way : choice->cases())
                way.setValue(llvm::cast<llvm::ConstantInt>(wide(*way.getCaseValue())));
            choice->setCondition(wide(*choice->getCondition()));
            return true;
        }
        Builder builder(&instruction);
        llvm::Value* made =
            isOdd(instruction) ? odd(builder, instruction) : fromOdd(builder, instruction);
        if (made == nullptr)
            return false;
        if (isOdd(instruction))
            m_wide[&instruction] = made;
        else
            instruction.replaceAllUsesWith(made);
        m_replaced.push_back(&instruction);
        return true;
    }

    static llvm::Type* typeFor(const llvm::Value& value) {
        const unsigned width = value.getType()->getIntegerBitWidth();
        return llvm::IntegerType::get(value.getContext(),
                                      std::max(narrowest, llvm::bit_ceil(width)));
    }

    llvm::Value* wide(llvm::Value& value) {
        if (!isOdd(value))
            return &value;
        if (const auto* constant = llvm::dyn_cast<llvm::ConstantInt>(&value))
            return llvm::ConstantInt::get(typeFor(value), constant->getZExtValue());
        if (llvm::isa<llvm::Constant>(value)) // any number will do
            return llvm::Constant::getNullValue(typeFor(value));
        return m_wide.lookup(&value);
    }

    /// With its sign above it.
    llvm::Value* extended(Builder& builder, llvm::Value& value) {
        if (!isOdd(value))
            return &value;
        const unsigned above =
            typeFor(value)->getIntegerBitWidth() - value.getType()->getIntegerBitWidth();
        return builder.CreateAShr(builder.CreateShl(wide(value), above), above);
    }

    /// Without what is above a number like this one.
    static llvm::Value* cut(Builder& builder, llvm::Value* value, const llvm::Value& like) {
        const unsigned width = like.getType()->getIntegerBitWidth();
        return builder.CreateAnd(value, llvm::maskTrailingOnes<std::uint64_t>(width));
    }

    llvm::Value* odd(Builder& builder, llvm::Instruction& instruction) {
        const auto operand = [&](unsigned i) { return wide(*instruction.getOperand(i)); };
        llvm::Type* type = typeFor(instruction);
        if (auto* operation = llvm::dyn_cast<llvm::BinaryOperator>(&instruction)) {
            const auto either = [&](unsigned i) {
                return isSigned(*operation) ? extended(builder, *operation->getOperand(i))
                                            : operand(i);
            };
            return cut(builder, builder.CreateBinOp(operation->getOpcode(), either(0), either(1)),
                       instruction);
        }
        if (auto* phi = llvm::dyn_cast<llvm::PHINode>(&instruction)) {
            llvm::PHINode* made = builder.CreatePHI(type, phi->getNumIncomingValues());
            m_phis.emplace_back(phi, made);
            return made;
        }
        switch (instruction.getOpcode()) {
        case llvm::Instruction::Select:
            return builder.CreateSelect(operand(0), operand(1), operand(2));
        case llvm::Instruction::Freeze:
            return cut(builder, builder.CreateFreeze(operand(0)), instruction);
        case llvm::Instruction::Trunc:
        case llvm::Instruction::ZExt:
            return cut(builder, builder.CreateZExtOrTrunc(operand(0), type), instruction);
        case llvm::Instruction::SExt:
            return cut(
                builder,
                builder.CreateSExtOrTrunc(extended(builder, *instruction.getOperand(0)), type),
                instruction);
        default:
            return nullptr;
        }
    }

    /// Of a number as devices have it, or a truth.
    llvm::Value* fromOdd(Builder& builder, llvm::Instruction& instruction) {
        const auto operand = [&](unsigned i) { return wide(*instruction.getOperand(i)); };
        const auto withSign = [&](unsigned i) {
            return extended(builder, *instruction.getOperand(i));
        };
        if (auto* compare = llvm::dyn_cast<llvm::ICmpInst>(&instruction))
            return compare->isSigned()
                       ? builder.CreateICmp(compare->getPredicate(), withSign(0), withSign(1))
                       : builder.CreateICmp(compare->getPredicate(), operand(0), operand(1));
        llvm::Type* type = instruction.getType();
        switch (instruction.getOpcode()) {
        case llvm::Instruction::Trunc:
        case llvm::Instruction::ZExt:
            return builder.CreateZExtOrTrunc(operand(0), type);
        case llvm::Instruction::SExt:
            return builder.CreateSExtOrTrunc(withSign(0), type);
        case llvm::Instruction::UIToFP:
            return builder.CreateUIToFP(operand(0), type);
        case llvm::Instruction::SIToFP:
            return builder.CreateSIToFP(withSign(0), type);
        default:
            return nullptr;
        }
    }

    llvm::Function& m_function;
    llvm::DenseMap<const llvm::Value*, llvm::Value*> m_wide;
    std::vector<std::pair<llvm::PHINode*, llvm::PHINode*>> m_phis;
    std::vector<llvm::Instruction*> m_replaced;
};

/// Of the values in a function; 0 without any.
unsigned mostBits(const llvm::Function& function) {
    unsigned most = 0;
    for (const llvm::Instruction& instruction : llvm::instructions(function))
        if (instruction.getType()->isIntegerTy())
            most = std::max(most, instruction.getType()->getIntegerBitWidth());
    return most;
}

} // namespace

platform::Result<void> widenIntegers(Lowering& lowering) {
    const auto refuse = [&](const std::string& what) {
        return platform::Error{"kernel '" + std::string(lowering.name) +
                               "' needs what graphics devices do not have: " + what};
    };
    for (llvm::Function& function : lowering.module) {
        if (function.isDeclaration())
            continue;
        if (const unsigned most = mostBits(function); most > widest)
            return refuse("integers of " + std::to_string(most) + " bits");
        if (const llvm::Instruction* unknown = Widening(function).run())
            return refuse(std::string(unknown->getOpcodeName()) + " of an odd number of bits");
        lowering.analyses.forget(function);
    }
    return {};
}

} // namespace compute::spirv
