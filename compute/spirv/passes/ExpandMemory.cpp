// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/ExpandMemory.h"

#include "compute/spirv/passes/NarrowAtomics.h"

#include <llvm/CodeGen/AtomicExpandUtils.h>
#include <llvm/IR/DebugInfo.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/Transforms/Scalar/Scalarizer.h>
#include <llvm/Transforms/Utils/BasicBlockUtils.h>
#include <llvm/Transforms/Utils/Local.h>

#include <algorithm>
#include <functional>

namespace compute::spirv {
namespace {

/// Above this many words there is a loop.
constexpr std::uint64_t mostUnrolled = 16;
constexpr std::uint64_t wordBytes = 4;

class MemoryExpander {
public:
    MemoryExpander(llvm::MemIntrinsic& intrinsic, std::uint64_t bytes,
                   const llvm::DataLayout& layout)
        : m_intrinsic(intrinsic), m_bytes(bytes), m_layout(layout) {}

    void expand() {
        auto* copy = llvm::dyn_cast<llvm::MemTransferInst>(&m_intrinsic);
        m_step = stepOf(*m_intrinsic.getRawDest(), m_intrinsic.getDestAlign());
        if (copy != nullptr)
            m_step = std::min(m_step, stepOf(*copy->getRawSource(), copy->getSourceAlign()));
        const std::uint64_t count = m_bytes / m_step;
        if (count <= mostUnrolled)
            unroll(count, copy);
        else
            loop(count, copy);
        m_intrinsic.eraseFromParent();
    }

private:
    std::uint64_t stepOf(llvm::Value& pointer, llvm::MaybeAlign promised) const {
        const llvm::Align known = llvm::getKnownAlignment(&pointer, m_layout);
        const std::uint64_t alignment = std::max(known, promised.valueOrOne()).value();
        return std::min({alignment, m_bytes & (~m_bytes + 1), wordBytes});
    }

    llvm::Type* word(llvm::IRBuilder<>& builder) const {
        return builder.getIntNTy(static_cast<unsigned>(m_step) * 8);
    }

    llvm::Value* place(llvm::IRBuilder<>& builder, llvm::Value* pointer,
                       llvm::Value* number) const {
        return builder.CreateGEP(word(builder), pointer, number);
    }

    llvm::Value* filling(llvm::IRBuilder<>& builder) const {
        llvm::Value* byte = llvm::cast<llvm::MemSetInst>(m_intrinsic).getValue();
        llvm::Value* all = builder.CreateZExt(byte, word(builder));
        std::uint64_t ones = 0;
        for (std::uint64_t i = 0; i < m_step; ++i)
            ones |= std::uint64_t{1} << (8 * i);
        return builder.CreateMul(all, llvm::ConstantInt::get(word(builder), ones));
    }

    llvm::Value* loaded(llvm::IRBuilder<>& builder, llvm::MemTransferInst* copy,
                        llvm::Value* number) const {
        return copy == nullptr
                   ? filling(builder)
                   : builder.CreateAlignedLoad(word(builder),
                                               place(builder, copy->getRawSource(), number),
                                               llvm::Align(m_step));
    }

    void store(llvm::IRBuilder<>& builder, llvm::Value* value, llvm::Value* number) const {
        builder.CreateAlignedStore(value, place(builder, m_intrinsic.getRawDest(), number),
                                   llvm::Align(m_step));
    }

    /// All is read before anything is written, so that the two may overlap.
    void unroll(std::uint64_t count, llvm::MemTransferInst* copy) const {
        llvm::IRBuilder<> builder(&m_intrinsic);
        llvm::SmallVector<llvm::Value*> values;
        for (std::uint64_t i = 0; i < count; ++i)
            values.push_back(loaded(builder, copy, builder.getInt64(i)));
        for (std::uint64_t i = 0; i < count; ++i)
            store(builder, values[i], builder.getInt64(i));
    }

    void loop(std::uint64_t count, llvm::MemTransferInst* copy) const {
        llvm::BasicBlock* before = m_intrinsic.getParent();
        llvm::BasicBlock* after = llvm::SplitBlock(before, &m_intrinsic);
        auto* body =
            llvm::BasicBlock::Create(before->getContext(), "words", before->getParent(), after);
        before->getTerminator()->setSuccessor(0, body);
        llvm::IRBuilder<> builder(body);
        llvm::PHINode* number = builder.CreatePHI(builder.getInt64Ty(), 2);
        llvm::Value* next = builder.CreateAdd(number, builder.getInt64(1));
        // Where the two overlap and the destination lies behind, from the end on.
        llvm::Value* index = number;
        if (copy != nullptr && llvm::isa<llvm::MemMoveInst>(copy)) {
            llvm::Value* isBehind = builder.CreateICmpUGT(copy->getRawDest(), copy->getRawSource());
            index = builder.CreateSelect(
                isBehind, builder.CreateSub(builder.getInt64(count - 1), number), number);
        }
        store(builder, loaded(builder, copy, index), index);
        builder.CreateCondBr(builder.CreateICmpULT(next, builder.getInt64(count)), body, after);
        number->addIncoming(builder.getInt64(0), before);
        number->addIncoming(next, body);
    }

    llvm::MemIntrinsic& m_intrinsic;
    std::uint64_t m_bytes;
    const llvm::DataLayout& m_layout;
    std::uint64_t m_step = 1;
};

bool saysNothing(const llvm::Instruction& instruction) {
    const auto* call = llvm::dyn_cast<llvm::IntrinsicInst>(&instruction);
    return call != nullptr && (call->isAssumeLikeIntrinsic() || call->isLifetimeStartOrEnd()) &&
           call->getType()->isVoidTy();
}

platform::Result<void> expand(Lowering& lowering, llvm::Function& function) {
    llvm::SmallVector<llvm::MemIntrinsic*> found;
    for (llvm::Instruction& instruction :
         llvm::make_early_inc_range(llvm::instructions(function))) {
        if (saysNothing(instruction))
            instruction.eraseFromParent();
        else if (auto* memory = llvm::dyn_cast<llvm::MemIntrinsic>(&instruction))
            found.push_back(memory);
    }
    for (llvm::MemIntrinsic* memory : found) {
        const auto* length = llvm::dyn_cast<llvm::ConstantInt>(memory->getLength());
        if (length == nullptr)
            return platform::Error{"kernel '" + std::string(lowering.name) +
                                   "' copies memory of a length that is not constant"};
        if (length->isZero())
            memory->eraseFromParent();
        else
            MemoryExpander(*memory, length->getZExtValue(), lowering.module.getDataLayout())
                .expand();
    }
    lowering.analyses.forget(function);
    return {};
}

/// Tries the new value until no other thread has come between.
void exchangeUntilKept(llvm::IRBuilderBase& builder, llvm::Value* address, llvm::Value* before,
                       llvm::Value* after, llvm::Align align, llvm::AtomicOrdering order,
                       llvm::SyncScope::ID scope, llvm::Value*& success, llvm::Value*& found) {
    llvm::Type* type = after->getType();
    llvm::Type* bits =
        builder.getIntNTy(static_cast<unsigned>(type->getPrimitiveSizeInBits().getFixedValue()));
    llvm::Value* result = builder.CreateAtomicCmpXchg(
        address, builder.CreateBitCast(before, bits), builder.CreateBitCast(after, bits), align,
        order, llvm::AtomicCmpXchgInst::getStrongestFailureOrdering(order), scope);
    success = builder.CreateExtractValue(result, 1);
    found = builder.CreateBitCast(builder.CreateExtractValue(result, 0), type);
}

/// Only some devices calculate with floating-point numbers in memory atomically.
void expandFloatAtomics(llvm::Function& function) {
    llvm::SmallVector<llvm::AtomicRMWInst*> atomics;
    for (llvm::Instruction& instruction : llvm::instructions(function))
        if (auto* atomic = llvm::dyn_cast<llvm::AtomicRMWInst>(&instruction);
            atomic != nullptr && atomic->isFloatingPointOperation())
            atomics.push_back(atomic);
    for (llvm::AtomicRMWInst* atomic : atomics)
        llvm::expandAtomicRMWToCmpXchg(atomic, exchangeUntilKept);
}

} // namespace

platform::Result<void> expandMemory(Lowering& lowering) {
    llvm::StripDebugInfo(lowering.module);
    llvm::ScalarizerPassOptions options;
    options.ScalarizeLoadStore = true;
    options.ScalarizeVariableInsertExtract = true;
    llvm::FunctionPassManager passes;
    passes.addPass(llvm::ScalarizerPass(options));
    for (llvm::Function& function : lowering.module)
        if (!function.isDeclaration()) {
            expandFloatAtomics(function);
            expandNarrowAtomics(function);
            SL42_TRY_VOID(expand(lowering, function));
            lowering.analyses.run(passes, function);
        }
    return {};
}

} // namespace compute::spirv
