// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/WidenExtrema.h"

#include <llvm/IR/IntrinsicsX86.h>

namespace compute::simd {

llvm::Value* extremum(LaneBuilder& builder, llvm::Value* first, llvm::Value* second,
                      bool isLarger) {
    constexpr unsigned vectorLanes = 16;
    if (builder.processorLanes() < vectorLanes || !first->getType()->getScalarType()->isFloatTy() ||
        llvm::isa<llvm::Constant>(first) || llvm::isa<llvm::Constant>(second))
        return nullptr;
    // Operands of VRANGEPS: the smaller or the larger number, with the sign of what was chosen.
    constexpr std::uint32_t signOfResult = 1 << 2;
    constexpr std::uint32_t usualRounding = 4;
    auto* type = llvm::FixedVectorType::get(builder.getFloatTy(), vectorLanes);
    return builder.perVector({first, second}, [&](auto vectors) {
        return builder.CreateIntrinsic(llvm::Intrinsic::x86_avx512_mask_range_ps_512, {},
                                       {vectors[0], vectors[1],
                                        builder.getInt32(signOfResult | (isLarger ? 1 : 0)),
                                        llvm::Constant::getNullValue(type),
                                        builder.getInt16(0xFFFF), builder.getInt32(usualRounding)});
    });
}

} // namespace compute::simd
