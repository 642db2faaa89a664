// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/analysis/PrivateMemory.h"

#include <llvm/IR/GetElementPtrTypeIterator.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/Operator.h>

namespace compute::simd {

PrivateMemory::PrivateMemory(llvm::Function& kernel)
    : m_layout(kernel.getParent()->getDataLayout()) {
    for (llvm::Instruction& instruction : llvm::instructions(kernel))
        if (auto* variable = llvm::dyn_cast<llvm::AllocaInst>(&instruction))
            trace(*variable);
}

void PrivateMemory::trace(llvm::AllocaInst& variable) {
    Uses& uses = m_uses[&variable];
    llvm::SmallPtrSet<llvm::Value*, 16> seen;
    llvm::SmallVector<llvm::Value*> pointers = {&variable};
    while (!pointers.empty()) {
        llvm::Value* pointer = pointers.pop_back_val();
        for (llvm::Use& use : pointer->uses()) {
            auto* user = llvm::cast<llvm::Instruction>(use.getUser());
            if (llvm::isa<llvm::LoadInst>(user)) {
                uses.reads.push_back(user);
            } else if (llvm::isa<llvm::StoreInst>(user) && use.getOperandNo() == 1) {
                uses.writes.push_back(user);
            } else if (llvm::isa<llvm::MemIntrinsic>(user)) {
                (use.getOperandNo() == 0 ? uses.writes : uses.reads).push_back(user);
                uses.isOnlyIndexed &= llvm::isa<llvm::MemSetInst>(user);
            } else if (llvm::isa<llvm::GetElementPtrInst, llvm::PHINode, llvm::SelectInst,
                                 llvm::FreezeInst>(user)) {
                uses.isOnlyIndexed &= llvm::isa<llvm::GetElementPtrInst>(user);
                if (seen.insert(user).second)
                    pointers.push_back(user);
            } else if (!llvm::isa<llvm::ICmpInst>(user)) {
                uses.isTraceable = uses.isOnlyIndexed = false;
            } else {
                uses.isOnlyIndexed = false;
            }
        }
    }
}

/// All writes must be uniform and made under the same mask, and the threads that read must be a
/// subset of those that wrote.
bool PrivateMemory::isUniform(const Uses& uses, const Uniformity& uniformity,
                              const ControlTree& tree,
                              const llvm::DominatorTree& dominators) const {
    if (!uses.isTraceable)
        return false;
    const Block* root = nullptr;
    for (const llvm::Instruction* write : uses.writes) {
        const bool isUniform = llvm::all_of(write->operands(), [&](const llvm::Use& operand) {
            return uniformity.isUniform(operand.get());
        });
        const Block* writeRoot = tree.maskRoot(write->getParent());
        if (!isUniform || (root != nullptr && writeRoot != root))
            return false;
        root = writeRoot;
    }
    if (root == nullptr)
        return true;
    const llvm::Loop* loop = tree.loops().getLoopFor(root);
    while (loop != nullptr && tree.hasUniformExits(loop))
        loop = loop->getParentLoop();
    return llvm::all_of(uses.reads, [&](const llvm::Instruction* read) {
        const bool isAtomic =
            !llvm::isa<llvm::MemIntrinsic>(read) && !llvm::cast<llvm::LoadInst>(read)->isSimple();
        return !isAtomic && dominators.dominates(root, read->getParent()) &&
               (loop == nullptr || loop->contains(read->getParent()));
    });
}

/// The size of an element, if every access reads or writes exactly one.
std::optional<std::uint64_t> PrivateMemory::findElementBytes(const llvm::AllocaInst& variable,
                                                             const Uses& uses) const {
    if (!uses.isOnlyIndexed)
        return std::nullopt;
    const std::uint64_t size = sizeOf(variable, m_layout);
    std::uint64_t elementBytes = 0;
    const auto isElement = [&](llvm::Type* type) {
        const std::uint64_t size = m_layout.getTypeStoreSize(type).getFixedValue();
        const bool isPlain = type->isIntegerTy(8) || type->isIntegerTy(16) ||
                             type->isIntegerTy(32) || type->isIntegerTy(64) || type->isHalfTy() ||
                             type->isFloatTy() || type->isDoubleTy() || type->isPointerTy();
        elementBytes = elementBytes == 0 ? size : elementBytes;
        return isPlain && size == elementBytes;
    };
    llvm::SmallVector<llvm::Value*> addresses;
    for (auto* accesses : {&uses.reads, &uses.writes})
        for (llvm::Instruction* access : *accesses) {
            if (auto* clear = llvm::dyn_cast<llvm::MemSetInst>(access)) {
                const auto* length = llvm::dyn_cast<llvm::ConstantInt>(clear->getLength());
                if (clear->getRawDest() != &variable || length == nullptr ||
                    length->getZExtValue() != size)
                    return std::nullopt;
                continue;
            }
            if (!isElement(llvm::getLoadStoreType(access)) || access->isAtomic() ||
                access->isVolatile())
                return std::nullopt;
            addresses.push_back(llvm::getLoadStorePointerOperand(access));
        }
    if (elementBytes == 0 || size % elementBytes != 0)
        return std::nullopt;
    for (llvm::Value* address : addresses)
        while (address != &variable) {
            auto* step = llvm::cast<llvm::GEPOperator>(address);
            llvm::MapVector<llvm::Value*, llvm::APInt> scales;
            llvm::APInt constant(64, 0);
            if (!step->collectOffset(m_layout, 64, scales, constant) ||
                constant.urem(elementBytes) != 0)
                return std::nullopt;
            for (const auto& [index, scale] : scales)
                if (scale.urem(elementBytes) != 0)
                    return std::nullopt;
            address = step->getPointerOperand();
        }
    return elementBytes;
}

bool PrivateMemory::refute(const Uniformity& uniformity, const ControlTree& tree,
                           const llvm::DominatorTree& dominators) {
    // One variable that becomes varying may make the next one varying, and so on. After a few
    // iterations all the others become varying at once, which costs no more than memory.
    constexpr unsigned maxIterations = 6;
    const bool isLate = ++m_iterations > maxIterations;
    bool isRefuted = false;
    for (const auto& [variable, uses] : m_uses) {
        if (m_varying.contains(variable))
            continue;
        if (!isLate && isUniform(uses, uniformity, tree, dominators))
            continue;
        isRefuted = true;
        m_varying.insert(variable);
        if (const auto elementBytes = findElementBytes(*variable, uses))
            m_elementBytes[variable] = *elementBytes;
    }
    return isRefuted;
}

PrivateMemory::Kind PrivateMemory::kind(const llvm::AllocaInst* variable) const {
    if (!m_varying.contains(variable))
        return Kind::Uniform;
    return m_elementBytes.contains(variable) ? Kind::Interleaved : Kind::Copies;
}

std::uint64_t PrivateMemory::sizeOf(const llvm::AllocaInst& variable,
                                    const llvm::DataLayout& layout) {
    const auto size = variable.getAllocationSize(layout);
    return size ? size->getFixedValue() : 0;
}

std::uint64_t PrivateMemory::bytes(unsigned lanes) const {
    std::uint64_t total = 0;
    for (const auto& [variable, uses] : m_uses)
        if (m_varying.contains(variable))
            total += lanes * sizeOf(*variable, m_layout);
    return total;
}

} // namespace compute::simd
