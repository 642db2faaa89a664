// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/EliminateArguments.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/Instructions.h>

namespace compute::kernel {
namespace {

llvm::Value* passedFor(const llvm::Argument& parameter, llvm::User* call) {
    return llvm::cast<llvm::CallInst>(call)->getArgOperand(parameter.getArgNo());
}

bool passSame(llvm::Argument& first, llvm::Argument& second) {
    return first.getType() == second.getType() &&
           llvm::all_of(first.getParent()->users(), [&](llvm::User* call) {
               return passedFor(first, call) == passedFor(second, call);
           });
}

/// What takes the parameter's place, or null.
llvm::Value* substitute(llvm::Argument& parameter) {
    llvm::Function& function = *parameter.getParent();
    auto* constant = llvm::dyn_cast<llvm::Constant>(passedFor(parameter, *function.user_begin()));
    if (constant != nullptr && llvm::all_of(function.users(), [&](llvm::User* call) {
            return passedFor(parameter, call) == constant;
        }))
        return constant;
    for (llvm::Argument& other : function.args()) {
        if (&other == &parameter)
            return nullptr;
        if (passSame(other, parameter))
            return &other;
    }
    return nullptr;
}

/// The conversion that all calls make for the parameter, from the same type; null if they do not.
llvm::CastInst* commonConversion(llvm::Argument& parameter) {
    llvm::CastInst* first = nullptr;
    for (llvm::User* call : parameter.getParent()->users()) {
        auto* cast = llvm::dyn_cast<llvm::CastInst>(passedFor(parameter, call));
        if (cast == nullptr || !llvm::isa<llvm::SIToFPInst, llvm::UIToFPInst>(cast))
            return nullptr;
        if (first == nullptr)
            first = cast;
        if (cast->getOpcode() != first->getOpcode() || cast->getSrcTy() != first->getSrcTy())
            return nullptr;
    }
    return first;
}

} // namespace

llvm::Function* eliminateArguments(llvm::Function& function) {
    if (function.use_empty())
        return &function;
    for (llvm::Argument& parameter : function.args())
        if (llvm::Value* other = substitute(parameter))
            parameter.replaceAllUsesWith(other);

    llvm::SmallVector<llvm::Argument*> kept;
    llvm::SmallVector<llvm::Type*> types;
    llvm::SmallVector<llvm::CastInst*> conversions;
    for (llvm::Argument& parameter : function.args()) {
        if (parameter.use_empty())
            continue;
        kept.push_back(&parameter);
        conversions.push_back(commonConversion(parameter));
        types.push_back(conversions.back() != nullptr ? conversions.back()->getSrcTy()
                                                      : parameter.getType());
    }
    auto* narrow =
        llvm::Function::Create(llvm::FunctionType::get(function.getReturnType(), types, false),
                               llvm::GlobalValue::InternalLinkage, "", function.getParent());
    narrow->takeName(&function);
    narrow->setAttributes(function.getAttributes());
    narrow->splice(narrow->begin(), &function);
    llvm::IRBuilder<> entry(&*narrow->getEntryBlock().getFirstNonPHIOrDbgOrAlloca());
    for (unsigned i = 0; i < kept.size(); ++i) {
        llvm::Value* value = narrow->getArg(i);
        if (conversions[i] != nullptr)
            value = entry.CreateCast(conversions[i]->getOpcode(), value, kept[i]->getType());
        kept[i]->replaceAllUsesWith(value);
    }
    for (llvm::User* user : llvm::make_early_inc_range(function.users())) {
        auto* call = llvm::cast<llvm::CallInst>(user);
        llvm::SmallVector<llvm::Value*> arguments;
        for (unsigned i = 0; i < kept.size(); ++i) {
            llvm::Value* passed = passedFor(*kept[i], call);
            arguments.push_back(conversions[i] != nullptr
                                    ? llvm::cast<llvm::CastInst>(passed)->getOperand(0)
                                    : passed);
        }
        llvm::IRBuilder<> builder(call);
        call->replaceAllUsesWith(builder.CreateCall(narrow, arguments));
        call->eraseFromParent();
    }
    function.eraseFromParent();
    return narrow;
}

} // namespace compute::kernel
