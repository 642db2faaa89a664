// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/LowerSimdgroups.h"

#include "compute/spirv/passes/SimdgroupMemory.h"
#include "compute/spirv/passes/SimdgroupSubgroups.h"

#include <llvm/IR/InstIterator.h>

namespace compute::spirv {
namespace {

using kernel::GroupOperation;
using Builder = llvm::IRBuilder<>;

class Simdgroups {
public:
    explicit Simdgroups(Lowering& lowering)
        : m_lowering(lowering), m_memory(lowering), m_subgroups(lowering) {}

    /// All calls but those that ask for the lane.
    void replace(llvm::CallInst& call) {
        const Collective collective(call, m_lowering.lanes());
        Builder builder(&call);
        llvm::Value* none = builder.getInt32(0);
        llvm::Value* value = call.arg_empty() ? none : call.getArgOperand(0);
        const bool isMoved = collective.operation == GroupOperation::Shuffle ||
                             collective.operation == GroupOperation::Broadcast;
        llvm::Value* result = builder.CreateCall(functionFor(collective),
                                                 {builder.CreateZExt(value, builder.getInt32Ty()),
                                                  isMoved ? call.getArgOperand(1) : none});
        if (!call.getType()->isVoidTy())
            call.replaceAllUsesWith(result);
        call.eraseFromParent();
    }

    void replaceLane(llvm::CallInst& call) {
        Builder builder(&call);
        llvm::Value* lane =
            builder.CreateAnd(ask(builder, ShaderOperation::LocalIndex), m_lowering.lanes() - 1);
        if (m_usesSubgroups)
            lane = builder.CreateSelect(ask(builder, ShaderOperation::HasSubgroups),
                                        ask(builder, ShaderOperation::SubgroupLane), lane);
        call.replaceAllUsesWith(lane);
        call.eraseFromParent();
    }

    /// Subgroups need not have the threads in the order of the workgroup.
    void renumberThreads() {
        if (!m_usesSubgroups)
            return;
        llvm::Function* index = m_lowering.function(ShaderOperation::LocalIndex);
        for (llvm::User* user : llvm::SmallVector<llvm::User*>(index->users())) {
            auto* call = llvm::cast<llvm::CallInst>(user);
            Builder builder(call->getNextNode());
            llvm::Value* number =
                builder.CreateAdd(builder.CreateMul(ask(builder, ShaderOperation::SubgroupNumber),
                                                    builder.getInt32(m_lowering.lanes())),
                                  ask(builder, ShaderOperation::SubgroupLane));
            llvm::Value* has = ask(builder, ShaderOperation::HasSubgroups);
            auto* chosen =
                llvm::SelectInst::Create(has, number, call, "", builder.GetInsertPoint());
            call->replaceUsesWithIf(chosen,
                                    [&](const llvm::Use& use) { return use.getUser() != chosen; });
        }
    }

private:
    llvm::Value* ask(Builder& builder, ShaderOperation operation) {
        return builder.CreateCall(m_lowering.function(operation));
    }

    llvm::Function* functionFor(const Collective& collective) {
        const std::string name = "sl42.simd." + collective.name();
        if (llvm::Function* known = m_lowering.module.getFunction(name))
            return known;
        llvm::Type* word = llvm::Type::getInt32Ty(m_lowering.module.getContext());
        auto* made =
            llvm::Function::Create(llvm::FunctionType::get(word, {word, word}, false),
                                   llvm::GlobalValue::InternalLinkage, name, m_lowering.module);
        made->setConvergent();
        made->setDoesNotThrow();
        made->addFnAttr(llvm::Attribute::NoInline);
        Builder builder(llvm::BasicBlock::Create(made->getContext(), "", made));
        if (m_lowering.features.subgroupThreads != 0) {
            m_usesSubgroups = true;
            auto* full = llvm::BasicBlock::Create(made->getContext(), "subgroups", made);
            auto* other = llvm::BasicBlock::Create(made->getContext(), "memory", made);
            builder.CreateCondBr(ask(builder, ShaderOperation::HasSubgroups), full, other);
            builder.SetInsertPoint(full);
            finish(builder, m_subgroups.add(builder, collective, made->getArg(0), made->getArg(1)));
            builder.SetInsertPoint(other);
        }
        finish(builder, m_memory.add(builder, collective, made->getArg(0), made->getArg(1)));
        return made;
    }

    static void finish(Builder& builder, llvm::Value* result) {
        builder.CreateRet(result != nullptr ? result : builder.getInt32(0));
    }

    Lowering& m_lowering;
    SimdgroupMemory m_memory;
    SimdgroupSubgroups m_subgroups;
    bool m_usesSubgroups = false;
};

} // namespace

platform::Result<void> lowerSimdgroups(Lowering& lowering) {
    llvm::SmallVector<llvm::CallInst*> collectives;
    llvm::SmallVector<llvm::CallInst*> lanes;
    for (llvm::Function& function : lowering.module)
        for (llvm::Instruction& instruction : llvm::instructions(function)) {
            const GroupOperation operation = kernel::groupOperation(instruction);
            if (operation == GroupOperation::Lane)
                lanes.push_back(llvm::cast<llvm::CallInst>(&instruction));
            else if (operation > GroupOperation::ThreadgroupBarrier)
                collectives.push_back(llvm::cast<llvm::CallInst>(&instruction));
        }
    Simdgroups groups(lowering);
    for (llvm::CallInst* call : collectives)
        groups.replace(*call);
    for (llvm::CallInst* call : lanes)
        groups.replaceLane(*call);
    groups.renumberThreads();
    return {};
}

} // namespace compute::spirv
