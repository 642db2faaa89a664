// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/WideValues.h"

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
    if (const auto known = stride(pointer))
        return {.base = first(pointer), .stride = *known};
    return {.pointers = wide(pointer)};
}

Addresses WideValues::foldStride(Addresses addresses) {
    const auto step = addresses.stride / static_cast<std::int64_t>(addresses.scale);
    llvm::Type* type = addresses.offsets != nullptr ? addresses.offsets->getType()->getScalarType()
                                                    : m_builder.getInt64Ty();
    llvm::Value* steps = m_builder.laneNumbers(type, step);
    if (step < 0) {
        // The base moves to the last lane, so that no negative number is added to an offset, which
        // may be the lowest of 32 bits already.
        const std::int64_t lowest = step * (static_cast<std::int64_t>(m_builder.lanes()) - 1);
        addresses.base = m_builder.CreatePtrAdd(
            addresses.base, m_builder.getInt64(static_cast<std::uint64_t>(
                                lowest * static_cast<std::int64_t>(addresses.scale))));
        steps = m_builder.CreateAdd(steps, llvm::ConstantInt::getSigned(steps->getType(), -lowest));
    }
    addresses.offsets =
        addresses.offsets != nullptr ? m_builder.CreateAdd(addresses.offsets, steps) : steps;
    addresses.stride = 0;
    return addresses;
}

llvm::Value* WideValues::pointers(const Addresses& addresses) {
    if (addresses.base == nullptr)
        return addresses.pointers;
    if (addresses.offsets == nullptr && addresses.stride == 0)
        return m_builder.broadcast(addresses.base);
    const Addresses made = addresses.stride != 0 ? foldStride(addresses) : addresses;
    return m_builder.CreateGEP(m_builder.getIntNTy(static_cast<unsigned>(8 * made.scale)),
                               made.base, made.offsets);
}

} // namespace compute::simd
