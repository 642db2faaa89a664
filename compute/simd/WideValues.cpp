// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/WideValues.h"

namespace compute::simd {

llvm::Value* WideValues::first(llvm::Value* value) const {
    const auto known = m_scalars.find(value);
    return known == m_scalars.end() ? value : known->second;
}

llvm::Value* WideValues::scalar(llvm::Value* value) const {
    return first(value);
}

llvm::Value* WideValues::broadcast(llvm::Value* scalar) {
    if (llvm::isa<llvm::Constant>(scalar))
        return m_builder.broadcast(scalar);
    llvm::Value*& known = m_broadcasts[scalar];
    if (known != nullptr)
        return known;
    const llvm::IRBuilderBase::InsertPointGuard guard(m_builder);
    if (auto* instruction = llvm::dyn_cast<llvm::Instruction>(scalar))
        m_builder.SetInsertPoint(
            instruction->getParent(),
            instruction->getInsertionPointAfterDef().value_or(instruction->getParent()->end()));
    else
        m_builder.SetInsertPoint(&m_entry, m_entry.getFirstInsertionPt());
    return known = m_builder.broadcast(scalar);
}

llvm::Value* WideValues::wide(llvm::Value* value) {
    if (const auto known = m_wide.find(value); known != m_wide.end())
        return known->second;
    return broadcast(scalar(value));
}

Addresses WideValues::addresses(llvm::Value* pointer) {
    if (const auto known = m_addresses.find(pointer); known != m_addresses.end())
        return known->second;
    if (const auto even = stride(pointer))
        return {.base = first(pointer), .stride = *even};
    return {.pointers = wide(pointer)};
}

llvm::Value* WideValues::pointers(const Addresses& addresses) {
    if (addresses.base == nullptr)
        return addresses.pointers;
    llvm::Value* offsets = addresses.offsets;
    if (offsets == nullptr && addresses.stride == 0)
        return m_builder.broadcast(addresses.base);
    if (addresses.stride != 0) {
        llvm::Type* type =
            offsets != nullptr ? offsets->getType()->getScalarType() : m_builder.getInt64Ty();
        llvm::Value* steps = m_builder.laneNumbers(
            type, addresses.stride / static_cast<std::int64_t>(addresses.scale));
        offsets = offsets != nullptr ? m_builder.CreateAdd(offsets, steps) : steps;
    }
    return m_builder.CreateGEP(m_builder.getIntNTy(static_cast<unsigned>(8 * addresses.scale)),
                               addresses.base, offsets);
}

} // namespace compute::simd
