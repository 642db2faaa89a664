// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/VariableTable.h"

#include "compute/kernel/GroupOperations.h"
#include "compute/kernel/Pass.h"

#include <llvm/Analysis/ConstantFolding.h>

#include <algorithm>

namespace compute::spirv {
namespace {

constexpr std::uint64_t spareElementBytes = 8;

std::uint64_t bytesOf(const llvm::Value& variable, const llvm::DataLayout& layout) {
    if (const auto* local = llvm::dyn_cast<llvm::AllocaInst>(&variable))
        return local->getAllocationSize(layout)->getFixedValue();
    const auto& global = llvm::cast<llvm::GlobalVariable>(variable);
    return layout.getTypeAllocSize(global.getValueType()).getFixedValue();
}

bool holdsPointers(const llvm::Constant& constant) {
    if (constant.getType()->isPointerTy())
        return !constant.isNullValue();
    return llvm::any_of(constant.operands(), [](const llvm::Use& use) {
        const auto* part = llvm::dyn_cast<llvm::Constant>(use.get());
        return part != nullptr && holdsPointers(*part);
    });
}

} // namespace

void VariableTable::note(llvm::Value& variable, const MemoryAccess& access) {
    Layout& layout = m_layouts[&variable];
    layout.part = std::min(layout.part, access.part);
    layout.hasAtomics |= access.isAtomic();
    layout.onlyFloats &= access.type->isFloatTy() && access.isWhole();
}

void VariableTable::share(llvm::Value& variable) {
    m_layouts[&variable].isShared = true;
}

void VariableTable::addSpareElement(llvm::Value& variable) {
    m_layouts[&variable].hasSpare = true;
}

platform::Result<void> VariableTable::layOut() {
    for (auto& [variable, layout] : m_layouts) {
        m_numbers[variable] = static_cast<unsigned>(m_lowering.variables.size());
        m_lowering.variables.push_back(SL42_TRY(make(*variable, layout)));
    }
    return {};
}

platform::Result<Variable> VariableTable::make(llvm::Value& variable, const Layout& layout) const {
    llvm::LLVMContext& context = m_lowering.module.getContext();
    const std::uint64_t part = std::min<std::uint64_t>(layout.part, 8);
    Variable made;
    made.element = layout.onlyFloats && layout.part == 4 && !layout.hasAtomics
                       ? llvm::Type::getFloatTy(context)
                       : llvm::Type::getIntNTy(context, static_cast<unsigned>(part) * 8);
    const std::uint64_t bytes = bytesOf(variable, m_lowering.module.getDataLayout());
    made.count = std::max<std::uint64_t>(1, (bytes + part - 1) / part);
    if (layout.hasAtomics && part < 4)
        return platform::Error{"kernel '" + std::string(m_lowering.name) +
                               "' uses memory of a threadgroup both for atomics and byte by byte"};
    auto* global = llvm::dyn_cast<llvm::GlobalVariable>(&variable);
    if (global == nullptr) {
        made.storage = layout.isShared ? Variable::Storage::Private : Variable::Storage::Function;
        return made;
    }
    if (kernel::isGroupVariable(variable)) {
        made.storage = Variable::Storage::Workgroup;
        made.isSizedByArguments = variable.getName() == kernel::groupArgumentsSymbol;
        if (made.isSizedByArguments)
            made.count = spareElementBytes / part; // so that there is one with no arguments
        else if (layout.hasSpare)
            made.count += 1;
        return made;
    }
    made.storage = Variable::Storage::Constant;
    made.values = SL42_TRY(valuesOf(*global, made));
    return made;
}

platform::Result<std::vector<llvm::Constant*>> VariableTable::valuesOf(llvm::GlobalVariable& table,
                                                                       const Variable& made) const {
    const llvm::DataLayout& layout = m_lowering.module.getDataLayout();
    const auto refused = [&](const char* why) {
        return platform::Error{"kernel '" + std::string(m_lowering.name) + "': the variable '" +
                               kernel::sourceName(table) + "' " + why};
    };
    if (!table.isConstant() || !table.hasInitializer())
        return refused("is no constant");
    if (holdsPointers(*table.getInitializer()))
        return refused("is a constant that holds pointers, which this device cannot follow");
    const std::uint64_t part = layout.getTypeStoreSize(made.element).getFixedValue();
    std::vector<llvm::Constant*> values;
    for (std::uint64_t i = 0; i < made.count; ++i) {
        llvm::Constant* value = llvm::ConstantFoldLoadFromConst(
            table.getInitializer(), made.element, llvm::APInt(64, i * part), layout);
        if (value == nullptr)
            return refused("is a constant of a kind that this device does not have");
        values.push_back(llvm::isa<llvm::UndefValue>(value)
                             ? llvm::Constant::getNullValue(made.element)
                             : value);
    }
    return values;
}

unsigned VariableTable::numberOf(const llvm::Value& variable) const {
    return m_numbers.lookup(&variable);
}

std::uint64_t VariableTable::elementBytes(unsigned number) const {
    return m_lowering.variables[number].element->getScalarSizeInBits() / 8;
}

llvm::ConstantInt* VariableTable::addressOf(llvm::Value& variable) {
    const std::uint64_t tag = firstVariableTag + numberOf(variable);
    return llvm::ConstantInt::get(llvm::Type::getInt64Ty(m_lowering.module.getContext()),
                                  tag << 32);
}

} // namespace compute::spirv
