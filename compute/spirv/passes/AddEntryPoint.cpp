// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/AddEntryPoint.h"

#include "compute/kernel/KernelSignature.h"

#include <llvm/Transforms/Utils/Cloning.h>

#include <array>

namespace compute::spirv {
namespace {

using Position = std::array<llvm::Value*, 3>;

class EntryPoint {
public:
    EntryPoint(Lowering& lowering, llvm::Function& entry)
        : m_lowering(lowering),
          m_builder(llvm::BasicBlock::Create(entry.getContext(), "", &entry)) {}

    /// x, y and z of the kernel's signature, and whether there is such a thread.
    std::pair<Position, llvm::Value*> thread() {
        return m_lowering.runsInGroups() ? threadOfGroup() : threadOfGrid();
    }
    llvm::IRBuilder<>& builder() { return m_builder; }

private:
    llvm::Value* ask(ShaderOperation operation) {
        return m_builder.CreateCall(m_lowering.function(operation));
    }
    llvm::Value* ask(ShaderOperation operation, unsigned axis) {
        return m_builder.CreateCall(m_lowering.function(operation), {m_builder.getInt32(axis)});
    }

    /// A number of the grid record.
    llvm::Value* grid(unsigned index) {
        llvm::Value* address = m_builder.CreateAdd(
            ask(ShaderOperation::GridAddress), m_builder.getInt64(index * sizeof(std::uint32_t)));
        llvm::LoadInst* load = m_builder.CreateAlignedLoad(
            m_builder.getInt32Ty(),
            m_builder.CreateIntToPtr(address,
                                     llvm::PointerType::get(m_builder.getContext(), deviceSpace)),
            llvm::Align(4));
        load->setMetadata(llvm::LLVMContext::MD_invariant_load,
                          llvm::MDNode::get(m_builder.getContext(), {}));
        return load;
    }

    std::pair<Position, llvm::Value*> threadOfGrid() {
        Position position;
        for (unsigned axis = 0; axis < position.size(); ++axis)
            position[axis] = ask(ShaderOperation::GlobalId, axis);
        position[0] = m_builder.CreateAdd(position[0], ask(ShaderOperation::Begin));
        llvm::Value* isInside = m_builder.CreateICmpULT(position[0], ask(ShaderOperation::End));
        llvm::Value* rows = ask(ShaderOperation::GridSize, 1);
        isInside = m_builder.CreateAnd(isInside, m_builder.CreateICmpULT(position[1], rows));
        return {position, isInside};
    }

    std::pair<Position, llvm::Value*> threadOfGroup() {
        llvm::Value* number = ask(ShaderOperation::WorkgroupId, 2);
        for (const unsigned axis : {1U, 0U})
            number = m_builder.CreateAdd(
                m_builder.CreateMul(number, ask(ShaderOperation::WorkgroupCount, axis)),
                ask(ShaderOperation::WorkgroupId, axis));
        number = m_builder.CreateAdd(number, ask(ShaderOperation::Begin));
        llvm::Value* isInside = m_builder.CreateICmpULT(number, ask(ShaderOperation::End));
        llvm::Value* thread = ask(ShaderOperation::LocalIndex);
        isInside =
            m_builder.CreateAnd(isInside, m_builder.CreateICmpULT(thread, threadsOf(number)));
        return {{thread, number, m_builder.getInt32(0)}, isInside};
    }

    /// How many threads a threadgroup has: those at the far edge are cut off there.
    llvm::Value* threadsOf(llvm::Value* number) {
        llvm::Value* one = m_builder.getInt32(1);
        llvm::Value* threads = one;
        for (unsigned axis = 0; axis < 3; ++axis) {
            llvm::Value* all = ask(ShaderOperation::GridSize, axis);
            llvm::Value* size =
                m_builder.CreateBinaryIntrinsic(llvm::Intrinsic::umax, grid(3 + axis), one);
            llvm::Value* count =
                m_builder.CreateAdd(m_builder.CreateUDiv(m_builder.CreateSub(all, one), size), one);
            llvm::Value* position = axis == 2 ? number : m_builder.CreateURem(number, count);
            llvm::Value* rest = m_builder.CreateSub(all, m_builder.CreateMul(position, size));
            threads = m_builder.CreateMul(
                threads, m_builder.CreateBinaryIntrinsic(llvm::Intrinsic::umin, size, rest));
            number = m_builder.CreateUDiv(number, count);
        }
        return threads;
    }

    Lowering& m_lowering;
    llvm::IRBuilder<> m_builder;
};

} // namespace

platform::Result<void> addEntryPoint(Lowering& lowering) {
    llvm::LLVMContext& context = lowering.module.getContext();
    auto* entry =
        llvm::Function::Create(llvm::FunctionType::get(llvm::Type::getVoidTy(context), false),
                               llvm::GlobalValue::ExternalLinkage, entrySymbol, lowering.module);
    entry->addFnAttrs(llvm::AttrBuilder(context, lowering.kernel->getAttributes().getFnAttrs()));
    EntryPoint point(lowering, *entry);
    auto [position, isInside] = point.thread();
    auto* run = llvm::BasicBlock::Create(context, "run", entry);
    auto* end = llvm::BasicBlock::Create(context, "end", entry);
    llvm::IRBuilder<>& builder = point.builder();
    builder.CreateCondBr(isInside, run, end);
    builder.SetInsertPoint(run);
    llvm::Value* none = llvm::PoisonValue::get(llvm::PointerType::get(context, 0));
    llvm::CallInst* call =
        builder.CreateCall(lowering.kernel, {none, none, position[0], position[1], position[2]});
    builder.CreateBr(end);
    builder.SetInsertPoint(end);
    builder.CreateRetVoid();

    llvm::Function* kernel = lowering.kernel;
    llvm::InlineFunctionInfo info;
    llvm::InlineFunction(*call, info);
    lowering.analyses.forget(*kernel);
    kernel->eraseFromParent();
    lowering.kernel = entry;
    return {};
}

} // namespace compute::spirv
