// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/SpecialiseConstants.h"

#include <llvm/IR/Constants.h>

#include <cstring>

namespace compute::kernel {
namespace {

/// The value as a constant of the variable's own type: integers by width, floats by their bits.
llvm::Constant* makeInitialiser(llvm::Type* type, const ConstantValue& value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, value.bytes.data(), sizeof bits);
    const unsigned width = type->getPrimitiveSizeInBits();
    const llvm::APInt pattern(width, bits & (width < 32 ? (1u << width) - 1 : ~0u));
    if (type->isIntegerTy())
        return llvm::ConstantInt::get(type, pattern);
    return llvm::ConstantFP::get(type, llvm::APFloat(type->getFltSemantics(), pattern));
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
            return platform::Error{what + " is declared " + std::string(nameOf(constant.type)) +
                                   " but its value is " + std::string(nameOf(found->second.type))};
    }
    return {};
}

platform::Result<void> specialiseConstants(PassContext& context) {
    for (const ConstantDeclaration& constant : context.constants) {
        const auto value = context.values.find(constant.index);
        if (auto* answer = context.module.getGlobalVariable(constant.answerSymbol(), true))
            fix(*answer,
                llvm::ConstantInt::getBool(answer->getValueType(), value != context.values.end()));
        llvm::GlobalVariable* variable = context.module.getGlobalVariable(constant.symbol, true);
        if (variable == nullptr)
            continue; // the kernel does not reach it
        llvm::Type* type = variable->getValueType();
        if (!type->isIntegerTy() && !type->isFloatTy() && !type->isHalfTy())
            return platform::Error{"function constant '" + constant.name + "' is not a scalar"};
        fix(*variable, value != context.values.end() ? makeInitialiser(type, value->second)
                                                     : llvm::Constant::getNullValue(type));
    }
    return {};
}

} // namespace compute::kernel
