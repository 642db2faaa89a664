// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/BufferAccess.h"

#include "compute/kernel/KernelSignature.h"
#include "compute/spirv/passes/NumberBits.h"

#include <algorithm>
#include <bit>

namespace compute::spirv {
namespace {

constexpr std::uint64_t widestNumber = 4;
constexpr unsigned mostComponents = 4;

} // namespace

std::optional<unsigned> BufferAccess::bindingFor(const MemoryAccess& access) {
    if (!m_lowering.features.descriptors || access.isAtomic() || access.instruction->isAtomic())
        return std::nullopt;
    const Roots& roots = m_facts.roots->of(*access.pointer);
    const auto slot = m_facts.roots->onlySlotOf(roots);
    if (!roots.variables.empty() || !slot || *slot >= kernel::firstTextureSlot)
        return std::nullopt;
    std::vector<DescribedBuffer>& all = m_lowering.describedBuffers;
    auto found = std::ranges::find(all, *slot, &DescribedBuffer::slot);
    if (found == all.end()) {
        if (all.size() == mostDescribed)
            return std::nullopt;
        found = all.insert(all.end(), {.slot = *slot});
    }
    return static_cast<unsigned>(found - all.begin());
}

/// A vector where the program has one and its place in the buffer is known to be one for it. For
/// numbers alone, the buffer may be bound at any place where a number may be.
BufferAccess::Element BufferAccess::elementOf(llvm::IRBuilder<>& builder,
                                              const MemoryAccess& access, unsigned binding) {
    const llvm::DataLayout& layout = m_lowering.module.getDataLayout();
    const std::uint64_t number = std::min(access.part, widestNumber);
    const auto group = m_facts.groups->placeOf(*access.instruction);
    const std::uint64_t widest =
        std::min(number * mostComponents, group ? group->alignment : access.part);
    llvm::APInt constant(64, 0);
    llvm::Value* base = access.pointer->stripAndAccumulateConstantOffsets(layout, constant, true);
    std::uint64_t unit = std::min(m_facts.roots->alignmentBehindRoot(*base), widest);
    if (unit < access.part) { // rounded down to the part, with all that the offset consists of
        base = access.pointer;
        constant = 0;
        unit = access.part;
    }
    const auto beyond = constant.getZExtValue();
    std::uint32_t& alignment = m_lowering.describedBuffers[binding].alignment;
    alignment = std::max(alignment, static_cast<std::uint32_t>(unit));
    const auto shift = static_cast<unsigned>(std::countr_zero(unit));
    llvm::Value* index =
        builder.CreateTrunc(builder.CreateLShr(m_offsetOf(*base), shift), builder.getInt32Ty());
    const auto whole = static_cast<std::int64_t>(beyond) >> shift;
    return {.view = {.binding = binding,
                     .bits = static_cast<unsigned>(number * 8),
                     .components = static_cast<unsigned>(unit / number)},
            .index = builder.CreateAdd(index, builder.getInt32(static_cast<std::uint32_t>(whole))),
            .component = static_cast<unsigned>(beyond % unit / number)};
}

llvm::Function* BufferAccess::functionOf(ShaderOperation operation, const BufferView& view) {
    auto found = std::ranges::find(m_lowering.views, view);
    if (found == m_lowering.views.end())
        found = m_lowering.views.insert(found, view);
    return m_lowering.function(
        {.operation = operation,
         .variable = static_cast<unsigned>(found - m_lowering.views.begin())});
}

std::array<llvm::Value*, 2> BufferAccess::partOf(llvm::IRBuilder<>& builder, const Element& element,
                                                 std::uint64_t number) {
    const auto component = static_cast<unsigned>(element.component + number);
    return {builder.CreateAdd(element.index, builder.getInt32(component / element.view.components)),
            builder.getInt32(component % element.view.components)};
}

llvm::Value* BufferAccess::load(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                                unsigned binding) {
    const Element element = elementOf(builder, access, binding);
    llvm::Function* read = functionOf(ShaderOperation::BufferRead, element.view);
    return joined(builder, access.bytes, element.partBytes(), [&](std::uint64_t i) {
        return builder.CreateCall(read, partOf(builder, element, i));
    });
}

void BufferAccess::store(llvm::IRBuilder<>& builder, const MemoryAccess& access, unsigned binding,
                         llvm::Value* bits) {
    const Element element = elementOf(builder, access, binding);
    llvm::Function* write = functionOf(ShaderOperation::BufferWrite, element.view);
    for (std::uint64_t i = 0; i < access.bytes / element.partBytes(); ++i) {
        const auto [index, component] = partOf(builder, element, i);
        builder.CreateCall(write,
                           {index, component,
                            partAt(builder, bits, i * element.partBytes(), element.partBytes())});
    }
}

} // namespace compute::spirv
