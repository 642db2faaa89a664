// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/pipeline/BindingAccess.h"

#include "compute/kernel/KernelSignature.h"

#include <llvm/ADT/BitVector.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/IntrinsicInst.h>

#include <optional>
#include <utility>

namespace compute::kernel {
namespace {

using Slot = std::optional<unsigned>;

class AccessFinder {
public:
    explicit AccessFinder(const llvm::Function& kernel)
        : m_kernel(kernel), m_layout(kernel.getParent()->getDataLayout()) {
        for (const llvm::Function& function : *kernel.getParent())
            for (const llvm::Instruction& instruction : llvm::instructions(function))
                look(instruction);
    }

    Access of(unsigned slot) const {
        const bool reads = m_anything || m_read[slot];
        const bool writes = m_anything || m_written[slot];
        return static_cast<Access>((reads ? 1U : 0U) | (writes ? 2U : 0U));
    }

private:
    void look(const llvm::Instruction& instruction) {
        if (const auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction))
            return mark(load->getPointerOperand(), Access::Read);
        if (const auto* store = llvm::dyn_cast<llvm::StoreInst>(&instruction)) {
            letGo(store->getValueOperand());
            return mark(store->getPointerOperand(), Access::Write);
        }
        if (const auto* cast = llvm::dyn_cast<llvm::PtrToIntInst>(&instruction))
            return letGo(cast->getPointerOperand());
        if (const auto* copy = llvm::dyn_cast<llvm::AnyMemTransferInst>(&instruction))
            mark(copy->getRawSource(), Access::Read);
        if (const auto* fill = llvm::dyn_cast<llvm::AnyMemIntrinsic>(&instruction))
            return mark(fill->getRawDest(), Access::Write);
        if (const auto* call = llvm::dyn_cast<llvm::CallBase>(&instruction);
            call ? call->doesNotAccessMemory() : !instruction.mayReadOrWriteMemory())
            return;
        for (const llvm::Value* operand : instruction.operands()) // atomics and calls
            letGo(operand);
    }

    /// What is done with the address from here on is not followed.
    void letGo(const llvm::Value* value) {
        if (value->getType()->isPointerTy() && !llvm::isa<llvm::Function>(value))
            mark(value, Access::ReadWrite);
        else if (value->getType()->isPtrOrPtrVectorTy() && !llvm::isa<llvm::Function>(value))
            m_anything = true;
    }

    void mark(const llvm::Value* pointer, Access access) {
        llvm::SmallVector<const llvm::Value*, 4> objects;
        llvm::getUnderlyingObjects(pointer, objects, nullptr, 0);
        for (const llvm::Value* object : objects) {
            if (const Slot slot = slotOf(object)) {
                m_read[*slot] = m_read[*slot] || access != Access::Write;
                m_written[*slot] = m_written[*slot] || access != Access::Read;
            } else if (!isOwn(object)) {
                m_anything = true;
            }
        }
    }

    /// Variables, constants and the grid. What a shared function is passed was let go at the call.
    static bool isOwn(const llvm::Value* object) {
        return llvm::isa<llvm::AllocaInst, llvm::GlobalVariable, llvm::Argument>(object);
    }

    /// Of an address that was loaded from the bindings, or from the record of a texture there.
    Slot slotOf(const llvm::Value* object) const {
        const auto* load = llvm::dyn_cast<llvm::LoadInst>(object);
        if (load == nullptr || !load->getType()->isPointerTy())
            return std::nullopt;
        llvm::APInt offset(64, 0);
        const llvm::Value* base =
            load->getPointerOperand()->stripAndAccumulateConstantOffsets(m_layout, offset, true);
        if (base != m_kernel.getArg(BindingsArgument)) {
            const Slot record = slotOf(llvm::getUnderlyingObject(base));
            return record && *record >= firstTextureSlot && *record < firstSamplerSlot
                       ? record
                       : std::nullopt;
        }
        const std::uint64_t slot = offset.getZExtValue() / sizeof(void*);
        return slot < slotCount ? Slot(static_cast<unsigned>(slot)) : std::nullopt;
    }

    const llvm::Function& m_kernel;
    const llvm::DataLayout& m_layout;
    llvm::BitVector m_read = llvm::BitVector(slotCount);
    llvm::BitVector m_written = llvm::BitVector(slotCount);
    bool m_anything = false;
};

} // namespace

void findAccesses(const llvm::Function& kernel, std::vector<Parameter>& parameters) {
    const AccessFinder finder(kernel);
    for (Parameter& parameter : parameters) {
        if (parameter.kind == ParameterKind::Buffer)
            parameter.access = finder.of(parameter.index);
        else if (parameter.kind == ParameterKind::Texture)
            parameter.access = parameter.count == 1 ? finder.of(firstTextureSlot + parameter.index)
                                                    : Access::ReadWrite;
    }
}

} // namespace compute::kernel
