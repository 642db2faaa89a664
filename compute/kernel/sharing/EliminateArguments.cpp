// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/EliminateArguments.h"

#include "compute/kernel/Calls.h"
#include "compute/kernel/Signatures.h"
#include "compute/kernel/passes/Undefined.h"
#include "compute/kernel/sharing/FunctionSimplifier.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/Instructions.h>

namespace compute::kernel {
namespace {

bool passSame(llvm::Argument& first, llvm::Argument& second) {
    return first.getType() == second.getType() &&
           llvm::all_of(first.getParent()->users(), [&](llvm::User* call) {
               return passedFor(first, *call) == passedFor(second, *call);
           });
}

/// What takes the parameter's place, or null.
llvm::Value* substitute(llvm::Argument& parameter) {
    llvm::Function& function = *parameter.getParent();
    if (llvm::Constant* constant = constantPassedFor(parameter))
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
        auto* cast = llvm::dyn_cast<llvm::CastInst>(passedFor(parameter, *call));
        if (cast == nullptr || !llvm::isa<llvm::SIToFPInst, llvm::UIToFPInst>(cast))
            return nullptr;
        if (first == nullptr)
            first = cast;
        if (cast->getOpcode() != first->getOpcode() || cast->getSrcTy() != first->getSrcTy())
            return nullptr;
    }
    return first;
}

/// A parameter that stays, and the conversion of it that moves into the function, if there is one.
struct Kept {
    llvm::Argument* parameter;
    llvm::CastInst* conversion;

    llvm::Type* type() const {
        return conversion != nullptr ? conversion->getSrcTy() : parameter->getType();
    }
    llvm::Value* passedBy(const llvm::User& call) const {
        llvm::Value* passed = passedFor(*parameter, call);
        return conversion != nullptr ? llvm::cast<llvm::CastInst>(passed)->getOperand(0) : passed;
    }
};

llvm::SmallVector<Kept> findKept(llvm::Function& function) {
    llvm::SmallVector<Kept> kept;
    for (llvm::Argument& parameter : function.args())
        if (llvm::Value* other = substitute(parameter))
            parameter.replaceAllUsesWith(other);
    for (llvm::Argument& parameter : function.args())
        if (!parameter.use_empty())
            kept.push_back({&parameter, commonConversion(parameter)});
    return kept;
}

/// Returns the function that takes the place of the given one, which is gone then.
llvm::Function* narrow(llvm::Function& function) {
    const llvm::SmallVector<Kept> kept = findKept(function);
    llvm::SmallVector<llvm::Type*> types;
    for (const Kept& one : kept)
        types.push_back(one.type());
    llvm::Function& narrow =
        changeType(function, *llvm::FunctionType::get(function.getReturnType(), types, false));
    llvm::IRBuilder<> entry(&*narrow.getEntryBlock().getFirstNonPHIOrDbgOrAlloca());
    for (unsigned i = 0; i < kept.size(); ++i) {
        llvm::Value* value = narrow.getArg(i);
        if (kept[i].conversion != nullptr)
            value = entry.CreateCast(kept[i].conversion->getOpcode(), value,
                                     kept[i].parameter->getType());
        kept[i].parameter->replaceAllUsesWith(value);
    }
    for (llvm::User* user : llvm::make_early_inc_range(function.users())) {
        auto* call = llvm::cast<llvm::CallInst>(user);
        llvm::SmallVector<llvm::Value*> arguments;
        for (const Kept& one : kept)
            arguments.push_back(one.passedBy(*call));
        llvm::IRBuilder<> builder(call);
        call->replaceAllUsesWith(builder.CreateCall(&narrow, arguments));
        call->eraseFromParent();
    }
    function.eraseFromParent();
    return &narrow;
}

} // namespace

platform::Result<void> eliminateArguments(PassContext& context) {
    const llvm::AttributeList attributes = llvm::AttributeList::get(
        context.module.getContext(), context.entry->getAttributes().getFnAttrs(), {}, {});
    FunctionSimplifier simplifier(context.analyses);
    for (llvm::Function*& function : llvm::reverse(context.shared)) {
        context.analyses.functions().clear(*function, function->getName());
        if (!function->use_empty())
            function = narrow(*function);
        function->setAttributes(attributes);
        // A frame larger than the guard page below the stack must not step over it.
        function->addFnAttr("probe-stack", "inline-asm");
        clearStackVariables(*function);
        simplifier.promote(*function);
    }
    context.analyses.forget(*context.entry);
    return {};
}

} // namespace compute::kernel
