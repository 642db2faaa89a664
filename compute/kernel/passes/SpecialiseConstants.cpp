// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/SpecialiseConstants.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/IR/Constants.h>
#include <llvm/IR/DataLayout.h>
#include <llvm/IR/DerivedTypes.h>
#include <llvm/IR/Module.h>

#include <cstring>

namespace compute::kernel {
namespace {

/// The bytes from `offset` on as a constant of a type that is made of numbers: integers by width,
/// floats by their bits.
llvm::Constant* makeInitialiser(llvm::Type* type, const ConstantValue& value, std::size_t offset,
                                const llvm::DataLayout& layout) {
    if (auto* structure = llvm::dyn_cast<llvm::StructType>(type)) {
        llvm::SmallVector<llvm::Constant*, 2> members;
        for (unsigned i = 0; i < structure->getNumElements(); ++i)
            members.push_back(makeInitialiser(
                structure->getElementType(i), value,
                offset + layout.getStructLayout(structure)->getElementOffset(i), layout));
        return llvm::ConstantStruct::get(structure, members);
    }
    if (auto* array = llvm::dyn_cast<llvm::ArrayType>(type)) {
        llvm::Type* element = array->getElementType();
        llvm::SmallVector<llvm::Constant*, 4> elements;
        for (std::uint64_t i = 0; i < array->getNumElements(); ++i)
            elements.push_back(makeInitialiser(
                element, value, offset + i * layout.getTypeAllocSize(element), layout));
        return llvm::ConstantArray::get(array, elements);
    }
    std::uint32_t bits = 0;
    std::memcpy(&bits, value.bytes.data() + offset, layout.getTypeStoreSize(type));
    const unsigned width = type->getPrimitiveSizeInBits();
    const llvm::APInt pattern(width, bits & (width < 32 ? (1u << width) - 1 : ~0u));
    if (type->isIntegerTy())
        return llvm::ConstantInt::get(type, pattern);
    return llvm::ConstantFP::get(type, llvm::APFloat(type->getFltSemantics(), pattern));
}

/// What makeInitialiser() can make.
bool isMadeOfNumbers(llvm::Type* type) {
    if (auto* structure = llvm::dyn_cast<llvm::StructType>(type))
        return llvm::all_of(structure->elements(), isMadeOfNumbers);
    if (auto* array = llvm::dyn_cast<llvm::ArrayType>(type))
        return isMadeOfNumbers(array->getElementType());
    return type->isFloatTy() || type->isHalfTy() ||
           (type->isIntegerTy() && type->getIntegerBitWidth() <= 32);
}

void fix(llvm::GlobalVariable& variable, llvm::Constant* value) {
    variable.setInitializer(value);
    variable.setConstant(true);
    variable.setLinkage(llvm::GlobalValue::InternalLinkage);
}

} // namespace

platform::Result<void> checkConstants(const std::vector<ConstantDeclaration>& constants,
                                      const ConstantValues& values) {
    for (const ConstantDeclaration& constant : constants) {
        const auto found = values.find(constant.index);
        const std::string what = "function constant '" + constant.name + "' [[function_constant(" +
                                 std::to_string(constant.index) + ")]]";
        if (found == values.end() && constant.isOptional)
            continue;
        if (found == values.end())
            return platform::Error{what + " has no value"};
        if (found->second.type != constant.type)
            return platform::Error{what + " is declared " + nameOf(constant.type) +
                                   " but its value is " + nameOf(found->second.type)};
    }
    return {};
}

platform::Result<void> specialiseConstants(PassContext& context) {
    const llvm::DataLayout& layout = context.module.getDataLayout();
    for (const ConstantDeclaration& constant : context.constants) {
        const auto value = context.values.find(constant.index);
        if (auto* answer = context.module.getGlobalVariable(constant.answerSymbol(), true))
            fix(*answer,
                llvm::ConstantInt::getBool(answer->getValueType(), value != context.values.end()));
        llvm::GlobalVariable* variable = context.module.getGlobalVariable(constant.symbol, true);
        if (variable == nullptr)
            continue; // the kernel does not reach it
        llvm::Type* type = variable->getValueType();
        if (!isMadeOfNumbers(type) || layout.getTypeAllocSize(type) > sizeOf(constant.type))
            return platform::Error{"function constant '" + constant.name + "' is no " +
                                   nameOf(constant.type)};
        fix(*variable, value != context.values.end()
                           ? makeInitialiser(type, value->second, 0, layout)
                           : llvm::Constant::getNullValue(type));
    }
    return {};
}

} // namespace compute::kernel
