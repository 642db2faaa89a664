// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/PointerParameters.h"

#include <llvm/IR/Instructions.h>

namespace compute::spirv {

bool hasPointers(const llvm::Function& function) {
    return function.getReturnType()->isPointerTy() ||
           llvm::any_of(function.args(), [](const llvm::Argument& argument) {
               return argument.getType()->isPointerTy();
           });
}

void replacePointers(Lowering& lowering, llvm::Function& old) {
    llvm::Type* number = llvm::Type::getInt64Ty(old.getContext());
    const auto lowered = [&](llvm::Type* type) { return type->isPointerTy() ? number : type; };
    llvm::SmallVector<llvm::Type*> types;
    for (const llvm::Argument& argument : old.args())
        types.push_back(lowered(argument.getType()));
    auto* made =
        llvm::Function::Create(llvm::FunctionType::get(lowered(old.getReturnType()), types, false),
                               old.getLinkage(), "", lowering.module);
    made->takeName(&old);
    made->addFnAttrs(llvm::AttrBuilder(old.getContext(), old.getAttributes().getFnAttrs()));
    made->setMemoryEffects(llvm::MemoryEffects::unknown());
    made->splice(made->begin(), &old);
    llvm::IRBuilder<> builder(&*made->getEntryBlock().getFirstInsertionPt());
    for (unsigned i = 0; i < old.arg_size(); ++i) {
        llvm::Value* value = made->getArg(i);
        if (old.getArg(i)->getType()->isPointerTy())
            value = builder.CreateIntToPtr(value, old.getArg(i)->getType());
        old.getArg(i)->replaceAllUsesWith(value);
    }
    for (llvm::BasicBlock& block : *made)
        if (auto* end = llvm::dyn_cast<llvm::ReturnInst>(block.getTerminator());
            end != nullptr && old.getReturnType()->isPointerTy()) {
            builder.SetInsertPoint(end);
            end->setOperand(0, builder.CreatePtrToInt(end->getReturnValue(), number));
        }
    for (llvm::User* user : llvm::make_early_inc_range(old.users())) {
        auto* call = llvm::cast<llvm::CallInst>(user);
        builder.SetInsertPoint(call);
        llvm::SmallVector<llvm::Value*> arguments;
        for (llvm::Value* argument : call->args())
            arguments.push_back(argument->getType()->isPointerTy()
                                    ? builder.CreatePtrToInt(argument, number)
                                    : argument);
        llvm::Value* result = builder.CreateCall(made, arguments);
        if (old.getReturnType()->isPointerTy())
            result = builder.CreateIntToPtr(result, old.getReturnType());
        call->replaceAllUsesWith(result);
        call->eraseFromParent();
    }
    // The next function may come to lie where this one did.
    lowering.analyses.functions().clear(old, old.getName());
    old.eraseFromParent();
}

} // namespace compute::spirv
