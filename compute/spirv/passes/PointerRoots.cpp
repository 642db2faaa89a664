// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/PointerRoots.h"

#include "compute/kernel/KernelSignature.h"

#include <llvm/ADT/MapVector.h>
#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/GlobalVariable.h>

#include <algorithm>

namespace compute::spirv {
namespace {

/// Of variables and of what the device makes for the kernel, and of buffers.
constexpr std::uint64_t rootAlignment = 16;
constexpr std::uint64_t bufferAlignment = 4;

} // namespace

bool isDerived(const llvm::Value& pointer) {
    return llvm::isa<llvm::GEPOperator, llvm::PHINode, llvm::SelectInst, llvm::FreezeInst>(pointer);
}

llvm::SmallVector<llvm::Value*, 2> sourcesOf(const llvm::Value& derived) {
    if (const auto* step = llvm::dyn_cast<llvm::GEPOperator>(&derived))
        return {const_cast<llvm::Value*>(step->getPointerOperand())};
    const auto& user = llvm::cast<llvm::User>(derived);
    llvm::SmallVector<llvm::Value*, 2> sources;
    for (const llvm::Use& use :
         llvm::drop_begin(user.operands(), llvm::isa<llvm::SelectInst>(user)))
        sources.push_back(use.get());
    return sources;
}

void PointerRoots::noteEscape(llvm::Value& variable) {
    llvm::SmallVector<llvm::Value*> open = {&variable};
    llvm::SmallPtrSet<llvm::Value*, 8> seen;
    while (!open.empty())
        for (const llvm::Use& use : open.pop_back_val()->uses()) {
            llvm::User* user = use.getUser();
            if (isDerived(*user) && user->getType()->isPointerTy()) {
                if (seen.insert(user).second)
                    open.push_back(user);
                continue;
            }
            const auto* store = llvm::dyn_cast<llvm::StoreInst>(user);
            const bool onlyAccesses =
                store != nullptr ? use.getOperandNo() == llvm::StoreInst::getPointerOperandIndex()
                                 : llvm::isa<llvm::LoadInst, llvm::AtomicRMWInst,
                                             llvm::AtomicCmpXchgInst, llvm::ICmpInst>(user);
            if (!onlyAccesses)
                m_escaped.insert(&variable);
        }
}

const Roots& PointerRoots::of(llvm::Value& pointer) {
    if (const auto known = m_known.find(&pointer); known != m_known.end())
        return known->second;
    Roots roots;
    llvm::SmallSetVector<llvm::Value*, 8> values;
    values.insert(&pointer);
    for (unsigned i = 0; i < values.size(); ++i) {
        llvm::Value* value = values[i];
        if (isDerived(*value)) {
            for (llvm::Value* source : sourcesOf(*value))
                values.insert(source);
        } else if (llvm::isa<llvm::AllocaInst, llvm::GlobalVariable>(value)) {
            roots.variables.insert(value);
        } else if (!llvm::isa<llvm::Constant>(value)) {
            roots.addresses.insert(value);
            const bool isArgument = value == m_bindings || llvm::isa<llvm::Argument>(value);
            if (!isArgument && !slotOf(*value))
                roots.variables.insert(m_escaped.begin(), m_escaped.end());
        }
    }
    return m_known[&pointer] = std::move(roots);
}

std::optional<unsigned> PointerRoots::slotOf(const llvm::Value& value) const {
    const auto* load = llvm::dyn_cast<llvm::LoadInst>(&value);
    if (load == nullptr || !load->getType()->isPointerTy())
        return std::nullopt;
    llvm::APInt offset(64, 0);
    const llvm::Value* base =
        load->getPointerOperand()->stripAndAccumulateConstantOffsets(m_layout, offset, true);
    const std::uint64_t slot = offset.getZExtValue() / sizeof(std::uint64_t);
    if (base != m_bindings || slot >= kernel::slotCount)
        return std::nullopt;
    return static_cast<unsigned>(slot);
}

std::optional<unsigned> PointerRoots::onlySlotOf(const Roots& roots) const {
    if (roots.addresses.empty())
        return std::nullopt;
    const auto slot = slotOf(*roots.addresses.front());
    const bool isOnly =
        llvm::all_of(roots.addresses, [&](llvm::Value* root) { return slotOf(*root) == slot; });
    return isOnly ? slot : std::nullopt;
}

std::uint64_t PointerRoots::alignmentOf(const llvm::Value& pointer) {
    return alignmentAt(pointer, bufferAlignment, 0);
}

std::uint64_t PointerRoots::alignmentBehindRoot(const llvm::Value& pointer) {
    return alignmentAt(pointer, rootAlignment, 0);
}

std::uint64_t PointerRoots::alignmentAt(const llvm::Value& pointer, std::uint64_t ofBuffers,
                                        unsigned depth) {
    constexpr unsigned deepest = 12;
    if (depth > deepest)
        return 1;
    if (const auto* step = llvm::dyn_cast<llvm::GEPOperator>(&pointer))
        return std::min(alignmentAt(*step->getPointerOperand(), ofBuffers, depth + 1),
                        alignmentOfOffset(*step));
    if (const auto* phi = llvm::dyn_cast<llvm::PHINode>(&pointer)) {
        // A loop that walks by steps: its own value says nothing new.
        std::uint64_t alignment = rootAlignment;
        for (const llvm::Value* incoming : phi->incoming_values()) {
            const auto* step = llvm::dyn_cast<llvm::GEPOperator>(incoming);
            if (step != nullptr && step->getPointerOperand() == phi)
                alignment = std::min(alignment, alignmentOfOffset(*step));
            else if (incoming != phi)
                alignment = std::min(alignment, alignmentAt(*incoming, ofBuffers, depth + 4));
        }
        return alignment;
    }
    if (isDerived(pointer)) {
        std::uint64_t alignment = rootAlignment;
        for (const llvm::Value* source : sourcesOf(pointer))
            alignment = std::min(alignment, alignmentAt(*source, ofBuffers, depth + 1));
        return alignment;
    }
    if (const auto slot = slotOf(pointer))
        return *slot < kernel::firstTextureSlot ? ofBuffers : rootAlignment;
    const bool isKnown = llvm::isa<llvm::AllocaInst, llvm::GlobalVariable, llvm::Argument>(pointer);
    return isKnown ? rootAlignment : 1;
}

std::uint64_t PointerRoots::alignmentOfOffset(const llvm::GEPOperator& step) const {
    llvm::MapVector<llvm::Value*, llvm::APInt> scales;
    llvm::APInt constant(64, 0);
    if (!step.collectOffset(m_layout, 64, scales, constant))
        return 1;
    unsigned zeros = constant.countr_zero();
    for (const auto& [index, scale] : scales) {
        const llvm::KnownBits bits = llvm::computeKnownBits(index, m_layout);
        zeros = std::min(zeros, scale.countr_zero() + bits.countMinTrailingZeros());
    }
    return std::uint64_t{1} << std::min(zeros, 4U);
}

} // namespace compute::spirv
