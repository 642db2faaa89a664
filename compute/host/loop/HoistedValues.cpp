// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/loop/HoistedValues.h"

#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/Module.h>

namespace compute::host {

HoistedValues::HoistedValues(llvm::Argument& written, llvm::Argument& read, unsigned bytes)
    : m_written(written),
      m_read(read),
      m_layout(read.getParent()->getParent()->getDataLayout(), bytes),
      m_writer(written.getParent()->back().getTerminator()),
      m_reader(read.getParent()->getEntryBlock().getTerminator()) {}

void HoistedValues::pass(llvm::Instruction& value) {
    const auto isOutside = [&](const llvm::Use& use) {
        return llvm::cast<llvm::Instruction>(use.getUser())->getFunction() != m_written.getParent();
    };
    if (llvm::any_of(value.uses(), isOutside))
        value.replaceUsesWithIf(inReader(&value), isOutside);
}

namespace {

/// Whether the instruction loads one of the caller's pointers. These must not be stored in memory
/// that a program might reach.
bool isBinding(const llvm::Instruction& instruction) {
    const auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction);
    return load != nullptr && load->getType()->isPointerTy() &&
           llvm::isa<llvm::Argument>(llvm::getUnderlyingObject(load->getPointerOperand()));
}

} // namespace

/// Addresses are rematerialised rather than loaded, so that alias analysis still sees how two of
/// them are related.
llvm::Value* HoistedValues::inReader(llvm::Value* value) {
    if (auto* argument = llvm::dyn_cast<llvm::Argument>(value))
        return m_read.getParent()->getArg(argument->getArgNo());
    auto* instruction = llvm::dyn_cast<llvm::Instruction>(value);
    if (instruction == nullptr)
        return value;
    llvm::Value*& known = m_known[instruction];
    if (known != nullptr)
        return known;
    if (llvm::isa<llvm::GetElementPtrInst, llvm::CastInst>(instruction) ||
        isBinding(*instruction)) {
        llvm::Instruction* copy = instruction->clone();
        for (llvm::Use& operand : copy->operands())
            operand.set(inReader(operand.get()));
        return m_known[instruction] = m_reader.Insert(copy);
    }
    return known = throughMemory(*instruction);
}

llvm::Value* HoistedValues::throughMemory(llvm::Instruction& value) {
    const auto [offset, align] = m_layout.add(*value.getType());
    const auto place = [offset](llvm::IRBuilder<>& builder, llvm::Argument& memory) {
        return builder.CreateConstGEP1_32(builder.getInt8Ty(), &memory, offset);
    };
    m_writer.CreateAlignedStore(&value, place(m_writer, m_written), align);
    llvm::LoadInst* read =
        m_reader.CreateAlignedLoad(value.getType(), place(m_reader, m_read), align);
    read->copyMetadata(value);
    read->setMetadata(llvm::LLVMContext::MD_invariant_load,
                      llvm::MDNode::get(value.getContext(), {}));
    return read;
}

} // namespace compute::host
