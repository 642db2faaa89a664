// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/NarrowAtomics.h"

#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Instructions.h>
#include <llvm/Transforms/Utils/BasicBlockUtils.h>
#include <llvm/Transforms/Utils/LowerAtomic.h>

#include <functional>

namespace compute::spirv {
namespace {

using Builder = llvm::IRBuilder<>;
using Update = std::function<llvm::Value*(Builder& builder, llvm::Value* before)>;

constexpr unsigned wordBytes = 4;
constexpr auto relaxed = llvm::AtomicOrdering::Monotonic;

/// A number in the word of memory that it is a part of.
class PartOfWord {
public:
    PartOfWord(Builder& builder, llvm::Value* pointer, llvm::Type* type) : m_type(type) {
        const unsigned bits = type->getIntegerBitWidth();
        llvm::Value* address = builder.CreatePtrToInt(pointer, builder.getInt64Ty());
        llvm::Value* begin = builder.CreateAnd(address, wordBytes - bits / 8);
        m_pointer = builder.CreateGEP(builder.getInt8Ty(), pointer, builder.CreateNeg(begin));
        m_shift = builder.CreateTrunc(builder.CreateShl(begin, 3), builder.getInt32Ty());
        m_others =
            builder.CreateNot(builder.CreateShl(builder.getInt32((1U << bits) - 1), m_shift));
    }

    llvm::Value* load(Builder& builder) const {
        llvm::LoadInst* word =
            builder.CreateAlignedLoad(builder.getInt32Ty(), m_pointer, llvm::Align(wordBytes));
        word->setAtomic(relaxed);
        return word;
    }
    llvm::Value* partOf(Builder& builder, llvm::Value* word) const {
        return builder.CreateTrunc(builder.CreateLShr(word, m_shift), m_type);
    }
    llvm::Value* with(Builder& builder, llvm::Value* word, llvm::Value* part) const {
        llvm::Value* bits = builder.CreateShl(builder.CreateZExt(part, word->getType()), m_shift);
        return builder.CreateOr(builder.CreateAnd(word, m_others), bits);
    }
    llvm::Value* exchange(Builder& builder, llvm::Value* before, llvm::Value* after) const {
        return builder.CreateAtomicCmpXchg(m_pointer, before, after, llvm::Align(wordBytes),
                                           relaxed, relaxed);
    }

private:
    llvm::Type* m_type;
    llvm::Value* m_pointer;
    llvm::Value* m_shift;
    llvm::Value* m_others; ///< the bits of the word that are not the number's
};

/// In front of the instruction; what was there before.
llvm::Value* updated(llvm::Instruction& instruction, llvm::Value* pointer, llvm::Type* type,
                     const Update& update) {
    Builder builder(&instruction);
    const PartOfWord part(builder, pointer, type);
    llvm::Value* first = part.load(builder);
    llvm::BasicBlock* before = instruction.getParent();
    llvm::BasicBlock* after = llvm::SplitBlock(before, &instruction);
    auto* loop = llvm::BasicBlock::Create(builder.getContext(), "", before->getParent(), after);
    before->getTerminator()->setSuccessor(0, loop);
    builder.SetInsertPoint(loop);
    llvm::PHINode* word = builder.CreatePHI(builder.getInt32Ty(), 2);
    llvm::Value* old = part.partOf(builder, word);
    llvm::Value* exchanged =
        part.exchange(builder, word, part.with(builder, word, update(builder, old)));
    word->addIncoming(first, before);
    word->addIncoming(builder.CreateExtractValue(exchanged, 0), loop);
    builder.CreateCondBr(builder.CreateExtractValue(exchanged, 1), after, loop);
    return old;
}

void expand(llvm::LoadInst& load) {
    Builder builder(&load);
    const PartOfWord part(builder, load.getPointerOperand(), load.getType());
    load.replaceAllUsesWith(part.partOf(builder, part.load(builder)));
    load.eraseFromParent();
}

void expand(llvm::StoreInst& store) {
    llvm::Value* value = store.getValueOperand();
    updated(store, store.getPointerOperand(), value->getType(),
            [&](Builder&, llvm::Value*) { return value; });
    store.eraseFromParent();
}

void expand(llvm::AtomicRMWInst& atomic) {
    llvm::Value* before =
        updated(atomic, atomic.getPointerOperand(), atomic.getType(),
                [&](Builder& builder, llvm::Value* old) {
                    return llvm::buildAtomicRMWValue(atomic.getOperation(), builder, old,
                                                     atomic.getValOperand());
                });
    atomic.replaceAllUsesWith(before);
    atomic.eraseFromParent();
}

void expand(llvm::AtomicCmpXchgInst& exchange) {
    llvm::Value* expected = exchange.getCompareOperand();
    llvm::Value* before =
        updated(exchange, exchange.getPointerOperand(), expected->getType(),
                [&](Builder& builder, llvm::Value* old) {
                    return builder.CreateSelect(builder.CreateICmpEQ(old, expected),
                                                exchange.getNewValOperand(), old);
                });
    Builder builder(&exchange);
    llvm::Value* pair =
        builder.CreateInsertValue(llvm::PoisonValue::get(exchange.getType()), before, 0);
    pair = builder.CreateInsertValue(pair, builder.CreateICmpEQ(before, expected), 1);
    exchange.replaceAllUsesWith(pair);
    exchange.eraseFromParent();
}

bool isNarrow(const llvm::Value& value) {
    return value.getType()->isIntegerTy() && value.getType()->getIntegerBitWidth() < 8 * wordBytes;
}

} // namespace

void expandNarrowAtomics(llvm::Function& function) {
    llvm::SmallVector<llvm::Instruction*> atomics;
    for (llvm::Instruction& instruction : llvm::instructions(function))
        if (instruction.isAtomic())
            atomics.push_back(&instruction);
    for (llvm::Instruction* instruction : atomics)
        if (auto* load = llvm::dyn_cast<llvm::LoadInst>(instruction)) {
            if (isNarrow(*load))
                expand(*load);
        } else if (auto* store = llvm::dyn_cast<llvm::StoreInst>(instruction)) {
            if (isNarrow(*store->getValueOperand()))
                expand(*store);
        } else if (auto* atomic = llvm::dyn_cast<llvm::AtomicRMWInst>(instruction)) {
            if (isNarrow(*atomic))
                expand(*atomic);
        } else if (auto* exchange = llvm::dyn_cast<llvm::AtomicCmpXchgInst>(instruction)) {
            if (isNarrow(*exchange->getCompareOperand()))
                expand(*exchange);
        }
}

} // namespace compute::spirv
