// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/Passes.h"

#include "compute/kernel/AdoptHostTarget.h"
#include "compute/kernel/BindParameters.h"
#include "compute/kernel/BoundIndices.h"
#include "compute/kernel/ClampIndices.h"
#include "compute/kernel/DefineArithmetic.h"
#include "compute/kernel/FoldInitialisers.h"
#include "compute/kernel/InlineCalls.h"
#include "compute/kernel/KeepLines.h"
#include "compute/kernel/MergeBytes.h"
#include "compute/kernel/Promote.h"
#include "compute/kernel/ShapeControlFlow.h"
#include "compute/kernel/SpecialiseConstants.h"
#include "compute/kernel/WidenHalf.h"

#include <llvm/Demangle/Demangle.h>

#include <array>

namespace compute::kernel {

std::span<const Pass> passes() {
    static constexpr auto table = std::to_array<Pass>({
        {"specialiseConstants", specialiseConstants},
        {"bindParameters", bindParameters},
        {"clampIndices", clampIndices},
        {"adoptHostTarget", adoptHostTarget},
        {"defineArithmetic", defineArithmetic},
        {"inlineCalls", inlineCalls},
        {"foldInitialisers", foldInitialisers},
        {"boundIndices", boundIndices},
        {"promote", promote},
        {"mergeBytes", mergeBytes},
        {"widenHalf", widenHalf},
        {"shapeControlFlow", shapeControlFlow},
        {"keepLines", keepLines},
    });
    return table;
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
