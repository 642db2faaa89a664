// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/FunctionFacts.h"

#include "compute/kernel/KernelSignature.h"
#include "compute/kernel/containment/AddressRanges.h"

#include <llvm/IR/InstIterator.h>

namespace compute::spirv {

FunctionFacts factsOf(Lowering& lowering, llvm::Function& function) {
    FunctionFacts facts;
    facts.function = &function;
    const llvm::DataLayout& layout = lowering.module.getDataLayout();
    if (&function == lowering.kernel) {
        facts.bindings = function.getArg(kernel::BindingsArgument);
        facts.grid = function.getArg(kernel::GridArgument);
    }
    facts.roots = std::make_unique<PointerRoots>(layout, facts.bindings);
    for (llvm::GlobalVariable& variable : lowering.module.globals())
        facts.roots->noteEscape(variable);
    return facts;
}

bool misusesBindings(const FunctionFacts& facts) {
    return llvm::any_of(facts.accesses, [&](const MemoryAccess& access) {
        const Roots& roots = facts.roots->of(*access.pointer);
        return llvm::is_contained(roots.addresses, facts.bindings) && facts.bindings != nullptr &&
               !facts.roots->slotOf(*access.instruction);
    });
}

void collectAccesses(FunctionFacts& facts, const llvm::DataLayout& layout) {
    kernel::AddressRanges ranges(layout);
    for (llvm::Instruction& instruction : llvm::instructions(*facts.function)) {
        const auto access = accessOf(instruction, layout, *facts.roots);
        if (!access)
            continue;
        facts.accesses.push_back(*access);
        llvm::SmallVector<kernel::MemoryAccess, 2> known;
        kernel::findAccesses(instruction, layout, known);
        if (!known.empty() && ranges.isConfined(known.front()))
            facts.confined.insert(&instruction);
    }
    facts.groups = std::make_unique<AccessGroups>(facts.accesses, layout, *facts.roots);
}

} // namespace compute::spirv
