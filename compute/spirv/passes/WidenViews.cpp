// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/WidenViews.h"

#include <llvm/ADT/MapVector.h>

#include <algorithm>

namespace compute::spirv {
namespace {

using Calls = llvm::SmallVector<llvm::CallInst*, 4>;

unsigned componentOf(const llvm::CallInst& call) {
    return static_cast<unsigned>(
        llvm::cast<llvm::ConstantInt>(call.getArgOperand(1))->getZExtValue());
}

class BlockWidening {
public:
    explicit BlockWidening(Lowering& lowering) : m_lowering(lowering) {}

    void run(llvm::BasicBlock& block) {
        for (llvm::Instruction& instruction : llvm::make_early_inc_range(block)) {
            const ShaderFunction what = m_lowering.operationOf(instruction);
            if (instruction.mayWriteToMemory())
                mergeReads();
            if (what.operation == ShaderOperation::BufferWrite)
                addWrite(llvm::cast<llvm::CallInst>(instruction));
            else if (instruction.mayReadOrWriteMemory())
                mergeWrites(); // what may be the same memory keeps its order
            if (what.operation == ShaderOperation::BufferRead) {
                auto& read = llvm::cast<llvm::CallInst>(instruction);
                m_reads[{read.getCalledFunction(), read.getArgOperand(0)}].push_back(&read);
            }
        }
        mergeReads();
        mergeWrites();
    }

private:
    using Element = std::pair<llvm::Function*, llvm::Value*>; ///< of a view, and the index

    void addWrite(llvm::CallInst& write) {
        const bool fits = m_writes.empty() ||
                          (m_writes.front()->getCalledFunction() == write.getCalledFunction() &&
                           m_writes.front()->getArgOperand(0) == write.getArgOperand(0) &&
                           llvm::none_of(m_writes, [&](const llvm::CallInst* other) {
                               return componentOf(*other) == componentOf(write);
                           }));
        if (!fits)
            mergeWrites();
        m_writes.push_back(&write);
    }

    const BufferView& viewOf(const llvm::CallInst& call) const {
        return m_lowering.views[m_lowering.operationOf(call).variable];
    }

    llvm::Function* whole(const llvm::CallInst& call, ShaderOperation operation) {
        return m_lowering.function(
            {.operation = operation, .variable = m_lowering.operationOf(call).variable});
    }

    void mergeReads() {
        for (auto& [element, reads] : m_reads) {
            if (reads.size() < 2)
                continue;
            llvm::IRBuilder<> builder(reads.front());
            llvm::Value* all = builder.CreateCall(
                whole(*reads.front(), ShaderOperation::BufferReadAll), {element.second});
            for (llvm::CallInst* read : reads) {
                builder.SetInsertPoint(read);
                read->replaceAllUsesWith(builder.CreateExtractElement(all, componentOf(*read)));
                read->eraseFromParent();
            }
        }
        m_reads.clear();
    }

    void mergeWrites() {
        if (m_writes.size() > 1 && m_writes.size() == viewOf(*m_writes.front()).components) {
            llvm::IRBuilder<> builder(m_writes.back());
            llvm::Type* type = m_writes.front()->getArgOperand(2)->getType();
            llvm::Value* all = llvm::PoisonValue::get(
                llvm::FixedVectorType::get(type, static_cast<unsigned>(m_writes.size())));
            // Not folded where it is partly constant: the emitter wants every number.
            for (const llvm::CallInst* write : m_writes)
                all = builder.Insert(llvm::InsertElementInst::Create(
                    all, write->getArgOperand(2), builder.getInt64(componentOf(*write))));
            builder.CreateCall(whole(*m_writes.front(), ShaderOperation::BufferWriteAll),
                               {m_writes.front()->getArgOperand(0), all});
            for (llvm::CallInst* write : m_writes)
                write->eraseFromParent();
        }
        m_writes.clear();
    }

    Lowering& m_lowering;
    llvm::MapVector<Element, Calls> m_reads;
    Calls m_writes; ///< of one element
};

} // namespace

platform::Result<void> widenViews(Lowering& lowering) {
    for (llvm::Function& function : lowering.module) {
        if (function.isDeclaration())
            continue;
        for (llvm::BasicBlock& block : function)
            BlockWidening(lowering).run(block);
        lowering.analyses.forget(function);
    }
    return {};
}

} // namespace compute::spirv
