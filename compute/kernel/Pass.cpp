// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/Pass.h"

#include <llvm/Analysis/TargetTransformInfo.h>
#include <llvm/Demangle/Demangle.h>

#include <cstdlib>

namespace compute::kernel {

bool accessesAnyAddress(const PassContext& context) {
    if (context.module.empty())
        return true;
    const llvm::Function& any = context.entry != nullptr ? *context.entry : *context.module.begin();
    return context.target.getTargetTransformInfo(any).allowsMisalignedMemoryAccesses(
        context.module.getContext(), 32, /*AddressSpace=*/0, llvm::Align(1));
}

std::string sourceName(const llvm::GlobalValue& value) {
    llvm::ItaniumPartialDemangler demangler;
    const std::string symbol = value.getName().str();
    if (!symbol.starts_with("_Z") || demangler.partialDemangle(symbol.c_str()))
        return symbol;
    char* text = demangler.isFunction() ? demangler.getFunctionName(nullptr, nullptr)
                                        : demangler.finishDemangle(nullptr, nullptr);
    if (text == nullptr)
        return symbol;
    std::string name(text);
    std::free(text);
    return name;
}

} // namespace compute::kernel
