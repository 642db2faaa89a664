// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/WideCalls.h"

#include "compute/kernel/Signatures.h"

namespace compute::simd {

llvm::Function& WideCalls::declare(llvm::Function& function, const ParameterStrides& parameters,
                                   unsigned lanes) {
    const auto wideType = [&](llvm::Type* type) -> llvm::Type* {
        return llvm::FixedVectorType::get(type, lanes);
    };
    llvm::LLVMContext& context = function.getContext();
    llvm::SmallVector<llvm::Type*> types = {wideType(llvm::Type::getInt1Ty(context))};
    for (const llvm::Argument& parameter : function.args())
        types.push_back(parameters[parameter.getArgNo()] == 0 ? parameter.getType()
                                                              : wideType(parameter.getType()));
    llvm::Type* result = function.getReturnType();
    if (auto* structure = llvm::dyn_cast<llvm::StructType>(result)) {
        llvm::SmallVector<llvm::Type*> elements;
        for (llvm::Type* element : structure->elements())
            elements.push_back(wideType(element));
        result = llvm::StructType::get(context, elements);
    } else if (!result->isVoidTy()) {
        result = wideType(result);
    }
    llvm::Function& wide = kernel::declareLike(
        function, *llvm::FunctionType::get(result, types, false), function.getName() + ".wide");
    m_wide[&function] = &wide;
    return wide;
}

void WideCalls::widen(LaneBuilder& builder, WideValues& values, llvm::CallInst& call,
                      llvm::Value* mask) const {
    llvm::Function* wide = m_wide.lookup(call.getCalledFunction());
    llvm::SmallVector<llvm::Value*> arguments = {mask};
    for (llvm::Value* argument : call.args()) {
        const llvm::Type* type = wide->getArg(static_cast<unsigned>(arguments.size()))->getType();
        arguments.push_back(type->isVectorTy() ? values.wide(argument) : values.scalar(argument));
    }
    llvm::CallInst* made = builder.CreateCall(wide, arguments);
    if (!call.getType()->isVoidTy())
        values.setWide(&call, made);
}

} // namespace compute::simd
