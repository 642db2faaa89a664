// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/VariableAccess.h"

#include "compute/spirv/passes/NumberBits.h"

#include <llvm/Transforms/Utils/LowerAtomic.h>

namespace compute::spirv {

llvm::Value* VariableAccess::isIn(llvm::IRBuilder<>& builder, const VariablePlace& place) {
    return builder.CreateICmpEQ(builder.CreateLShr(place.address, 32),
                                builder.getInt64(firstVariableTag + place.number));
}

llvm::Value* VariableAccess::call(llvm::IRBuilder<>& builder, ShaderFunction what,
                                  llvm::ArrayRef<llvm::Value*> arguments) {
    return builder.CreateCall(m_lowering.function(what), arguments);
}

llvm::Value* VariableAccess::read(llvm::IRBuilder<>& builder, unsigned number, llvm::Value* index) {
    return call(builder, {.operation = ShaderOperation::Read, .variable = number}, {index});
}

llvm::Value* VariableAccess::length(llvm::IRBuilder<>& builder, unsigned number) {
    return call(builder, {.operation = ShaderOperation::Length, .variable = number}, {});
}

llvm::Value* VariableAccess::index(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                                   const VariablePlace& place) {
    const Variable& variable = m_lowering.variables[place.number];
    const std::uint64_t element = m_table.elementBytes(place.number);
    const std::uint64_t taken = (access.bytes + element - 1) / element;
    llvm::Value* offset = builder.CreateTrunc(place.address, builder.getInt32Ty());
    llvm::Value* index = builder.CreateLShr(offset, builder.getInt32(llvm::Log2_64(element)));
    if (!place.isOneOfSeveral && place.isConfined)
        return index;
    const std::uint64_t last = variable.count > taken ? variable.count - taken : 0;
    llvm::Value* highest = builder.getInt32(static_cast<std::uint32_t>(last));
    if (variable.isSizedByArguments)
        highest = builder.CreateSub(length(builder, place.number),
                                    builder.getInt32(static_cast<std::uint32_t>(taken)));
    return builder.CreateBinaryIntrinsic(llvm::Intrinsic::umin, index, highest);
}

llvm::Value* VariableAccess::indexToWrite(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                                          const VariablePlace& place) {
    llvm::Value* at = index(builder, access, place);
    return place.isOneOfSeveral
               ? builder.CreateSelect(isIn(builder, place), at, spareIndex(builder, place.number))
               : at;
}

/// Behind the elements that the program knows of.
llvm::Value* VariableAccess::spareIndex(llvm::IRBuilder<>& builder, unsigned number) {
    const Variable& variable = m_lowering.variables[number];
    if (!variable.isSizedByArguments)
        return builder.getInt32(static_cast<std::uint32_t>(variable.count - 1));
    return builder.CreateSub(length(builder, number), builder.getInt32(1));
}

llvm::Value* VariableAccess::load(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                                  const VariablePlace& place) {
    llvm::Value* at = index(builder, access, place);
    const std::uint64_t element = m_table.elementBytes(place.number);
    if (element == access.bytes)
        return read(builder, place.number, at);
    if (element > access.bytes) // only where it was not aligned as it promised
        return builder.CreateTrunc(asBits(builder, read(builder, place.number, at), element),
                                   partType(builder, access.bytes));
    return joined(builder, access.bytes, element, [&](std::uint64_t i) {
        llvm::Value* next = builder.CreateAdd(at, builder.getInt32(static_cast<unsigned>(i)));
        return asBits(builder, read(builder, place.number, next), element);
    });
}

void VariableAccess::store(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                           const VariablePlace& place, llvm::Value* value) {
    const Variable variable = m_lowering.variables[place.number];
    if (variable.storage == Variable::Storage::Constant)
        return; // not even a program can mean that
    llvm::Value* first = index(builder, access, place);
    llvm::Value* isHere = place.isOneOfSeveral ? isIn(builder, place) : nullptr;
    const std::uint64_t element = m_table.elementBytes(place.number);
    const bool isGroups = variable.storage == Variable::Storage::Workgroup;
    const auto put = [&](llvm::Value* at, llvm::Value* what) {
        // Nobody else sees a thread's own memory, so that what is there can be written again.
        if (isHere != nullptr && isGroups)
            at = builder.CreateSelect(isHere, at, spareIndex(builder, place.number));
        else if (isHere != nullptr)
            what = builder.CreateSelect(isHere, what, read(builder, place.number, at));
        call(builder, {.operation = ShaderOperation::Write, .variable = place.number}, {at, what});
    };
    if (element >= access.bytes)
        return put(first,
                   variable.element->isFloatTy() && value->getType()->isFloatTy()
                       ? value
                       : fromBits(builder, asBits(builder, value, element), variable.element));
    llvm::Value* bits = asBits(builder, value, access.bytes);
    for (std::uint64_t at = 0; at < access.bytes; at += element)
        put(builder.CreateAdd(first, builder.getInt32(static_cast<unsigned>(at / element))),
            fromBits(builder, partAt(builder, bits, at, element), variable.element));
}

llvm::Value* VariableAccess::update(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                                    const VariablePlace& place, llvm::AtomicRMWInst& atomic) {
    llvm::Type* type = atomic.getType();
    if (m_lowering.variables[place.number].storage == Variable::Storage::Workgroup) {
        llvm::Value* at = indexToWrite(builder, access, place);
        llvm::Value* operand = asBits(builder, atomic.getValOperand(), 4);
        return fromBits(builder,
                        call(builder,
                             {.operation = ShaderOperation::Atomic,
                              .variable = place.number,
                              .atomic = atomic.getOperation()},
                             {at, operand}),
                        type);
    }
    llvm::Value* at = index(builder, access, place);
    llvm::Value* bits = read(builder, place.number, at);
    llvm::Value* before = fromBits(builder, bits, type);
    llvm::Value* after =
        llvm::buildAtomicRMWValue(atomic.getOperation(), builder, before, atomic.getValOperand());
    writeBack(builder, place, at, bits, after);
    return before;
}

llvm::Value* VariableAccess::exchange(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                                      const VariablePlace& place,
                                      llvm::AtomicCmpXchgInst& exchange) {
    llvm::Value* expected = exchange.getCompareOperand();
    llvm::Value* desired = exchange.getNewValOperand();
    if (m_lowering.variables[place.number].storage == Variable::Storage::Workgroup)
        return call(builder,
                    {.operation = ShaderOperation::CompareExchange, .variable = place.number},
                    {indexToWrite(builder, access, place), expected, desired});
    llvm::Value* at = index(builder, access, place);
    llvm::Value* bits = read(builder, place.number, at);
    llvm::Value* value = fromBits(builder, bits, expected->getType());
    llvm::Value* after =
        builder.CreateSelect(builder.CreateICmpEQ(value, expected), desired, value);
    writeBack(builder, place, at, bits, after);
    return value;
}

void VariableAccess::writeBack(llvm::IRBuilder<>& builder, const VariablePlace& place,
                               llvm::Value* index, llvm::Value* before, llvm::Value* after) {
    const Variable& variable = m_lowering.variables[place.number];
    if (variable.storage == Variable::Storage::Constant)
        return;
    llvm::Value* bits = fromBits(
        builder, asBits(builder, after, m_table.elementBytes(place.number)), variable.element);
    if (place.isOneOfSeveral)
        bits = builder.CreateSelect(isIn(builder, place), bits, before);
    call(builder, {.operation = ShaderOperation::Write, .variable = place.number}, {index, bits});
}

} // namespace compute::spirv
