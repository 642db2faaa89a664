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

} // namespace

platform::Result<void> checkConstants(const std::vector<ConstantDeclaration>& constants,
                                      const ConstantValues& values) {
    for (const ConstantDeclaration& constant : constants) {
        const auto found = values.find(constant.index);
        const std::string what = "function constant '" + constant.name + "' [[function_constant(" +
                                 std::to_string(constant.index) + ")]]";
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
        llvm::GlobalVariable* variable = context.module.getGlobalVariable(constant.symbol, true);
        if (variable == nullptr)
            continue; // the kernel does not reach it
        llvm::Type* type = variable->getValueType();
        if (!type->isIntegerTy() && !type->isFloatTy() && !type->isHalfTy())
            return platform::Error{"function constant '" + constant.name + "' is not a scalar"};
        variable->setInitializer(makeInitialiser(type, context.values.at(constant.index)));
        variable->setConstant(true);
        variable->setLinkage(llvm::GlobalValue::InternalLinkage);
    }
    return {};
}

} // namespace compute::kernel
