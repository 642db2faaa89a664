// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Products that go straight into a sum. Where the program allows that both become one operation,
// SPIR-V is given one: not all drivers look for such pairs, and the processor's code is made that
// way, too.
#pragma once

#include <llvm/IR/InstrTypes.h>

namespace compute::spirv {

/// The operand of a sum or difference which becomes one with it; null if none does.
const llvm::BinaryOperator* contractedProduct(const llvm::BinaryOperator& sum);
/// Whether the product becomes one with the sum that uses it.
bool isContracted(const llvm::BinaryOperator& product);

} // namespace compute::spirv
