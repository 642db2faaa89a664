// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/AdoptTarget.h"

#include "compute/kernel/GroupOperations.h"
#include "compute/kernel/passes/Undefined.h"

#include <llvm/IR/DebugInfoMetadata.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/Operator.h>
#include <llvm/Transforms/Utils/LoopUtils.h>

namespace compute::kernel {
namespace {

/// Passing by copy is what a call means; every other attribute is a promise.
llvm::AttributeList withoutPromises(llvm::LLVMContext& context, llvm::AttributeList list,
                                    unsigned parameters) {
    llvm::AttributeList kept;
    for (unsigned i = 0; i < parameters; ++i)
        if (llvm::Type* type = list.getParamByValType(i)) {
            llvm::AttrBuilder builder(context);
            builder.addByValAttr(type);
            builder.addAlignmentAttr(list.getParamAlignment(i));
            kept = kept.addParamAttributes(context, i, builder);
        }
    return kept;
}

/// Drops everything but lines, unrolling hints and the facts about our own bindings. The front end
/// forbids unrolling wherever the program does not ask for it, because it does not optimise itself.
void dropMetadata(llvm::Instruction& instruction) {
    llvm::MDNode* loop = instruction.getMetadata(llvm::LLVMContext::MD_loop);
    instruction.dropUnknownNonDebugMetadata(
        {llvm::LLVMContext::MD_invariant_load, llvm::LLVMContext::MD_dereferenceable});
    if (loop != nullptr)
        instruction.setMetadata(llvm::LLVMContext::MD_loop,
                                llvm::makePostTransformationMetadata(
                                    instruction.getContext(), loop,
                                    {"llvm.loop.mustprogress", "llvm.loop.unroll.disable"}, {}));
}

/// For a processor that reads plain data at any address; only atomics need their alignment.
void dropAlignment(llvm::Instruction& instruction) {
    if (auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction); load && !load->isAtomic())
        load->setAlignment(llvm::Align(1));
    else if (auto* store = llvm::dyn_cast<llvm::StoreInst>(&instruction);
             store && !store->isAtomic())
        store->setAlignment(llvm::Align(1));
    else if (auto* memory = llvm::dyn_cast<llvm::MemIntrinsic>(&instruction)) {
        memory->setDestAlignment(llvm::Align(1));
        if (auto* transfer = llvm::dyn_cast<llvm::MemTransferInst>(memory))
            transfer->setSourceAlignment(llvm::Align(1));
    }
}

void adopt(llvm::Instruction& instruction, bool keepsAlignment) {
    dropMetadata(instruction);
    if (!keepsAlignment)
        dropAlignment(instruction);
    instruction.dropPoisonGeneratingFlags();
    auto* call = llvm::dyn_cast<llvm::CallBase>(&instruction);
    if (call == nullptr || llvm::isa<llvm::IntrinsicInst>(call))
        return;
    call->setCallingConv(llvm::CallingConv::C);
    call->setAttributes(
        withoutPromises(call->getContext(), call->getAttributes(), call->arg_size()));
}

void adopt(llvm::Function& function, bool keepsAlignment) {
    if (function.isIntrinsic())
        return;
    function.setCallingConv(llvm::CallingConv::C);
    function.setAttributes(withoutPromises(function.getContext(), function.getAttributes(),
                                           static_cast<unsigned>(function.arg_size())));
    function.setComdat(nullptr);
    llvm::DISubprogram* source = function.getSubprogram();
    function.clearMetadata();
    function.setSubprogram(source);
    if (function.isDeclaration())
        return;
    if (function.getName() != llvm::StringRef(canonicalSymbol.data(), canonicalSymbol.size()))
        function.setLinkage(llvm::GlobalValue::InternalLinkage);
    function.setDoesNotThrow();
    function.setUnnamedAddr(llvm::GlobalValue::UnnamedAddr::None);
    for (llvm::Instruction& instruction : llvm::instructions(function))
        adopt(instruction, keepsAlignment);
}

void adopt(llvm::GlobalVariable& variable) {
    variable.setComdat(nullptr);
    variable.clearMetadata();
    if (!variable.hasInitializer() || variable.getName().starts_with("llvm."))
        return;
    variable.setLinkage(llvm::GlobalValue::InternalLinkage);
    variable.setInitializer(withoutUndefined(variable.getInitializer()));
}

/// What the bindings and the processor promise, as opposed to the program.
void describeEntry(llvm::Function& entry, const llvm::TargetMachine& target) {
    entry.addFnAttr("target-cpu", target.getTargetCPU());
    entry.addFnAttr("target-features", target.getTargetFeatureString());
    // Workers flush denormals, so folding has to do it as well.
    entry.addFnAttr("denormal-fp-math-f32", "preserve-sign,preserve-sign");
    // Estimates differ between scalar and vector code; every width must draw the same picture.
    entry.addFnAttr("reciprocal-estimates", "none");
    for (unsigned i : {0u, 1u}) {
        entry.addParamAttr(i, llvm::Attribute::NoAlias);
        entry.addParamAttr(i, llvm::Attribute::ReadOnly);
    }
}

} // namespace

platform::Result<void> adoptTarget(PassContext& context) {
    llvm::Module& module = context.module;
    module.setTargetTriple(context.target.getTargetTriple().str());
    module.setDataLayout(context.target.createDataLayout());
    for (llvm::StringRef name : {"llvm.global.annotations", "llvm.used", "llvm.compiler.used"})
        if (llvm::GlobalVariable* variable = module.getGlobalVariable(name, true))
            variable->eraseFromParent();
    while (!module.named_metadata_empty())
        module.eraseNamedMetadata(&*module.named_metadata_begin());
    for (llvm::GlobalVariable& variable : module.globals())
        adopt(variable);
    const bool keepsAlignment = !accessesAnyAddress(context);
    for (llvm::Function& function : module)
        adopt(function, keepsAlignment);
    if (context.entry != nullptr)
        describeEntry(*context.entry, context.target);
    describeGroupOperations(module, context.entry);
    return {};
}

} // namespace compute::kernel
