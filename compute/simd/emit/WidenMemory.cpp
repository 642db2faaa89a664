// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/WidenMemory.h"

#include "compute/simd/emit/CombineAtomics.h"
#include "compute/simd/emit/LaneBits.h"

#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/Module.h>

namespace compute::simd {
namespace {

const llvm::Align unaligned(1);

} // namespace

void WidenMemory::widenVariable(llvm::AllocaInst& variable) {
    const llvm::DataLayout& layout = variable.getModule()->getDataLayout();
    const std::uint64_t size = PrivateMemory::sizeOf(variable, layout);
    if (m_private.kind(&variable) == PrivateMemory::Kind::Interleaved) {
        m_interleaved[&variable] =
            m_builder.variable(m_builder.getInt8Ty(), size * m_builder.lanes(), llvm::Align(64));
        return;
    }
    const auto stride = static_cast<std::uint64_t>(Strides::copyStride(variable, layout));
    llvm::AllocaInst* copies =
        m_builder.variable(m_builder.getInt8Ty(), stride * m_builder.lanes(), variable.getAlign());
    m_values.setScalar(&variable, copies);
    m_values.setWide(&variable, m_values.pointers(
                                    {.base = copies, .stride = static_cast<std::int64_t>(stride)}));
}

std::optional<WidenMemory::Offset> WidenMemory::narrowOffset(llvm::Value* index,
                                                             std::uint64_t scale) {
    constexpr unsigned narrowBits = 32;
    constexpr std::uint64_t largestScale = 8;
    Offset offset{.uniform = m_builder.getInt64(0),
                  .scale = std::min(scale & -scale, largestScale)};
    const std::uint64_t factor = scale / offset.scale;
    llvm::Type* word = m_builder.wideType(m_builder.getInt32Ty());
    const unsigned bits =
        llvm::computeKnownBits(index, m_builder.GetInsertBlock()->getModule()->getDataLayout())
            .countMaxActiveBits();
    if (bits + llvm::Log2_64_Ceil(factor) < narrowBits) {
        offset.varying =
            m_builder.CreateMul(m_builder.CreateZExtOrTrunc(m_values.wide(index), word),
                                llvm::ConstantInt::get(word, factor));
        return offset;
    }
    if (factor != 1)
        return std::nullopt;
    if (index->getType()->isIntegerTy(narrowBits)) {
        offset.varying = m_values.wide(index);
        return offset;
    }
    auto* extension = llvm::dyn_cast<llvm::CastInst>(index);
    if (extension == nullptr || !extension->getSrcTy()->isIntegerTy(narrowBits))
        return std::nullopt;
    offset.varying = m_values.wide(extension->getOperand(0));
    if (llvm::isa<llvm::ZExtInst>(extension)) {
        const std::uint64_t middle = std::uint64_t{1} << (narrowBits - 1);
        offset.uniform = m_builder.getInt64(middle * scale);
        offset.varying = m_builder.CreateXor(offset.varying, llvm::ConstantInt::get(word, middle));
    }
    return offset;
}

WidenMemory::Offset WidenMemory::offsetOf(llvm::GEPOperator& step) {
    llvm::MapVector<llvm::Value*, llvm::APInt> scales;
    llvm::APInt constant(64, 0);
    step.collectOffset(m_builder.GetInsertBlock()->getModule()->getDataLayout(), 64, scales,
                       constant);
    Addresses sum{.base = llvm::ConstantPointerNull::get(m_builder.getPtrTy())};
    llvm::Value* uniform = m_builder.getInt64(constant.getZExtValue());
    llvm::Type* wide = m_builder.wideType(m_builder.getInt64Ty());
    for (const auto& [index, scale] : scales) {
        llvm::Value* bytes = m_builder.getInt64(scale.getZExtValue());
        if (m_values.isUniform(index)) {
            llvm::Value* number =
                m_builder.CreateSExtOrTrunc(m_values.scalar(index), m_builder.getInt64Ty());
            uniform = m_builder.CreateAdd(uniform, m_builder.CreateMul(number, bytes));
            continue;
        }
        const auto narrow = narrowOffset(index, scale.getZExtValue());
        if (narrow && sum.offsets == nullptr) {
            uniform = m_builder.CreateAdd(uniform, narrow->uniform);
            sum.offsets = narrow->varying;
            sum.scale = narrow->scale;
            continue;
        }
        addOffset(sum, {.uniform = m_builder.getInt64(0),
                        .varying = m_builder.CreateMul(
                            m_builder.CreateSExtOrTrunc(m_values.wide(index), wide),
                            m_builder.broadcast(bytes))});
    }
    return {.uniform = uniform, .varying = sum.offsets, .scale = sum.scale};
}

void WidenMemory::addOffset(Addresses& addresses, const Offset& offset) {
    addresses.base = m_builder.CreatePtrAdd(addresses.base, offset.uniform);
    if (offset.varying == nullptr)
        return;
    const bool isFirst = addresses.offsets == nullptr;
    if (isFirst && addresses.stride % static_cast<std::int64_t>(offset.scale) == 0) {
        addresses.offsets = offset.varying;
        addresses.scale = offset.scale;
        return;
    }
    llvm::Type* wide = m_builder.wideType(m_builder.getInt64Ty());
    const auto inBytes = [&](llvm::Value* value, std::uint64_t scale) {
        return m_builder.CreateMul(m_builder.CreateSExt(value, wide),
                                   llvm::ConstantInt::get(wide, scale));
    };
    llvm::Value* bytes = inBytes(offset.varying, offset.scale);
    addresses.offsets =
        isFirst ? bytes : m_builder.CreateAdd(inBytes(addresses.offsets, addresses.scale), bytes);
    addresses.scale = 1;
}

void WidenMemory::widenAddress(llvm::GetElementPtrInst& address) {
    if (auto* variable = llvm::dyn_cast<llvm::AllocaInst>(llvm::getUnderlyingObject(&address, 0)))
        if (m_private.kind(variable) == PrivateMemory::Kind::Interleaved)
            return; // only ever used by the accesses, which start from the variable
    Addresses result = m_values.addresses(address.getPointerOperand());
    const Offset offset = offsetOf(llvm::cast<llvm::GEPOperator>(address));
    if (result.base != nullptr) {
        addOffset(result, offset);
    } else {
        result.pointers = m_builder.CreatePtrAdd(result.pointers, offset.uniform);
        if (offset.varying != nullptr)
            result.pointers = m_values.pointers(
                {.base = result.pointers, .offsets = offset.varying, .scale = offset.scale});
    }
    m_values.setAddresses(&address, result);
    m_values.setWide(&address, m_values.pointers(result));
}

WidenMemory::Offset WidenMemory::interleavedOffset(llvm::GEPOperator& step) {
    llvm::MapVector<llvm::Value*, llvm::APInt> scales;
    llvm::APInt constant(64, 0);
    step.collectOffset(m_builder.GetInsertBlock()->getModule()->getDataLayout(), 64, scales,
                       constant);
    const std::uint64_t lanes = m_builder.lanes();
    llvm::Type* wide = m_builder.wideType(m_builder.getInt32Ty());
    Offset offset{.uniform = m_builder.getInt64(constant.getZExtValue() * lanes)};
    for (const auto& [index, scale] : scales) {
        const std::uint64_t bytes = scale.getZExtValue() * lanes;
        if (m_values.isUniform(index)) {
            llvm::Value* number =
                m_builder.CreateSExtOrTrunc(m_values.scalar(index), m_builder.getInt64Ty());
            offset.uniform = m_builder.CreateAdd(
                offset.uniform, m_builder.CreateMul(number, m_builder.getInt64(bytes)));
            continue;
        }
        llvm::Value* numbers =
            m_builder.CreateMul(m_builder.CreateSExtOrTrunc(m_values.wide(index), wide),
                                llvm::ConstantInt::get(wide, bytes));
        offset.varying =
            offset.varying == nullptr ? numbers : m_builder.CreateAdd(offset.varying, numbers);
    }
    return offset;
}

std::optional<WidenMemory::InterleavedElement>
WidenMemory::interleavedElement(llvm::Value* pointer) {
    auto* variable = llvm::dyn_cast<llvm::AllocaInst>(llvm::getUnderlyingObject(pointer, 0));
    if (variable == nullptr || m_private.kind(variable) != PrivateMemory::Kind::Interleaved)
        return std::nullopt;
    InterleavedElement place{.base = m_interleaved.lookup(variable),
                             .offsets = nullptr,
                             .elementBytes = m_private.elementBytes(variable)};
    while (pointer != variable) {
        auto* step = llvm::cast<llvm::GEPOperator>(pointer);
        const Offset offset = interleavedOffset(*step);
        place.base = m_builder.CreatePtrAdd(place.base, offset.uniform);
        if (offset.varying != nullptr)
            place.offsets = place.offsets == nullptr
                                ? offset.varying
                                : m_builder.CreateAdd(place.offsets, offset.varying);
        pointer = step->getPointerOperand();
    }
    return place;
}

llvm::Value* WidenMemory::load(llvm::LoadInst& load, llvm::Value* mask) {
    llvm::Type* type = load.getType();
    if (const auto place = interleavedElement(load.getPointerOperand()))
        return loadInterleaved(type, *place, mask);
    const Addresses addresses = m_values.addresses(load.getPointerOperand());
    const auto size = static_cast<std::int64_t>(m_lanes.sizeOf(type));
    if (addresses.hasStride(size) && !type->isIntegerTy(1))
        return m_lanes.loadContiguous(type, addresses.base, mask);
    const auto likely = m_speculative.of(load.getPointerOperand());
    const bool isWorthChecking =
        likely && (*likely == 0 || (*likely == size && m_lanes.hasMaskedAccess(type)));
    if (isWorthChecking && !type->isIntegerTy(1))
        return m_lanes.loadSpeculatively(type, addresses, *likely, mask);
    return m_lanes.gather(type, addresses, mask);
}

llvm::Value* WidenMemory::loadInterleaved(llvm::Type* type, const InterleavedElement& place,
                                          llvm::Value* mask) {
    if (place.offsets == nullptr)
        return m_builder.CreateAlignedLoad(m_builder.wideType(type), place.base, unaligned);
    return m_lanes.gather(type,
                          {.base = place.base,
                           .stride = static_cast<std::int64_t>(place.elementBytes),
                           .offsets = place.offsets},
                          mask);
}

void WidenMemory::store(llvm::StoreInst& store, llvm::Value* mask) {
    llvm::Value* value = m_values.wide(store.getValueOperand());
    if (const auto place = interleavedElement(store.getPointerOperand()))
        return storeInterleaved(value, *place, mask);
    const Addresses addresses = m_values.addresses(store.getPointerOperand());
    llvm::Type* type = store.getValueOperand()->getType();
    if (addresses.hasStride(0)) {
        llvm::Value* last = m_builder.lane(value, m_builder.lastLane(mask));
        m_builder.CreateAlignedStore(last, addresses.base, unaligned);
        return;
    }
    const auto size = static_cast<std::int64_t>(m_lanes.sizeOf(type));
    if (addresses.hasStride(size) && !type->isIntegerTy(1))
        return m_lanes.storeContiguous(value, addresses.base, mask);
    if (m_speculative.of(store.getPointerOperand()) == size && !type->isIntegerTy(1) &&
        m_lanes.hasMaskedAccess(type))
        return m_lanes.storeSpeculatively(value, addresses, mask);
    m_lanes.scatter(value, addresses, mask);
}

void WidenMemory::storeInterleaved(llvm::Value* value, const InterleavedElement& place,
                                   llvm::Value* mask) {
    if (place.offsets != nullptr)
        return m_lanes.scatter(value,
                               {.base = place.base,
                                .stride = static_cast<std::int64_t>(place.elementBytes),
                                .offsets = place.offsets},
                               mask);
    // No other core uses this memory, so the elements of inactive lanes can be written back.
    if (mask != m_everyThread)
        value = m_builder.CreateSelect(
            mask, value, m_builder.CreateAlignedLoad(value->getType(), place.base, unaligned));
    m_builder.CreateAlignedStore(value, place.base, unaligned);
}

void WidenMemory::clearInterleaved(llvm::MemSetInst& clear, llvm::Value* mask) {
    auto* variable = llvm::cast<llvm::AllocaInst>(clear.getRawDest());
    llvm::AllocaInst* memory = m_interleaved.lookup(variable);
    const std::uint64_t length = llvm::cast<llvm::ConstantInt>(clear.getLength())->getZExtValue();
    llvm::Value* byte = m_values.scalar(clear.getValue());
    if (mask == m_everyThread) {
        m_builder.CreateMemSet(memory, byte, length * m_builder.lanes(), memory->getAlign());
        return;
    }
    const std::uint64_t elementBytes = m_private.elementBytes(variable);
    llvm::Type* element = integerOf(m_builder, elementBytes);
    llvm::Value* filler =
        m_builder.CreateMul(m_builder.CreateZExt(byte, element),
                            llvm::ConstantInt::get(element, 0x0101'0101'0101'0101u));
    llvm::Value* wide = m_builder.broadcast(filler);
    llvm::BasicBlock* before = m_builder.GetInsertBlock();
    llvm::BasicBlock* loop =
        llvm::BasicBlock::Create(m_builder.getContext(), "clear", before->getParent());
    llvm::BasicBlock* done =
        llvm::BasicBlock::Create(m_builder.getContext(), "cleared", before->getParent());
    m_builder.CreateBr(loop);
    m_builder.SetInsertPoint(loop);
    llvm::PHINode* offset = m_builder.CreatePHI(m_builder.getInt64Ty(), 2);
    offset->addIncoming(m_builder.getInt64(0), before);
    storeInterleaved(wide,
                     {.base = m_builder.CreatePtrAdd(memory, offset),
                      .offsets = nullptr,
                      .elementBytes = elementBytes},
                     mask);
    llvm::Value* next =
        m_builder.CreateAdd(offset, m_builder.getInt64(elementBytes * m_builder.lanes()));
    offset->addIncoming(next, loop);
    m_builder.CreateCondBr(
        m_builder.CreateICmpULT(next, m_builder.getInt64(length * m_builder.lanes())), loop, done);
    m_builder.SetInsertPoint(done);
}

void WidenMemory::serialise(llvm::Instruction& access, llvm::Value* mask) {
    llvm::SmallVector<llvm::Value*> wide;
    for (llvm::Use& operand : access.operands())
        wide.push_back(m_values.isUniform(operand.get()) ? nullptr : m_values.wide(operand.get()));
    const bool hasResult = !access.getType()->isVoidTy();
    llvm::Value* start =
        hasResult ? llvm::PoisonValue::get(m_builder.wideType(access.getType())) : nullptr;
    llvm::Value* result =
        m_builder.forEachLane(mask, start, [&](llvm::Value* number, llvm::Value* state) {
            llvm::Instruction* made = access.clone();
            for (unsigned i = 0; i < wide.size(); ++i)
                made->setOperand(i, wide[i] == nullptr ? m_values.scalar(access.getOperand(i))
                                                       : m_builder.lane(wide[i], number));
            m_builder.Insert(made);
            return hasResult ? m_builder.withLane(state, made, number) : nullptr;
        });
    if (hasResult)
        m_values.setWide(&access, result);
}

void WidenMemory::widenAccess(llvm::Instruction& access, llvm::Value* mask) {
    if (const AccessGroup* group = m_groups.of(&access)) {
        if (group->place() == &access)
            group->isStore ? m_groupAccess.storeGroup(*group, mask)
                           : m_groupAccess.loadGroup(*group, mask);
        return;
    }
    if (auto* clear = llvm::dyn_cast<llvm::MemSetInst>(&access)) {
        auto* variable = llvm::dyn_cast<llvm::AllocaInst>(clear->getRawDest());
        if (variable != nullptr && m_interleaved.contains(variable))
            return clearInterleaved(*clear, mask);
    }
    auto* atomic = llvm::dyn_cast<llvm::AtomicRMWInst>(&access);
    if (atomic != nullptr && canCombine(*atomic, m_values)) {
        if (llvm::Value* found = combineAtomics(m_builder, m_values, *atomic, mask))
            m_values.setWide(&access, found);
        return;
    }
    auto* plainLoad = llvm::dyn_cast<llvm::LoadInst>(&access);
    auto* plainStore = llvm::dyn_cast<llvm::StoreInst>(&access);
    if (plainLoad != nullptr && plainLoad->isSimple())
        m_values.setWide(&access, load(*plainLoad, mask));
    else if (plainStore != nullptr && plainStore->isSimple())
        store(*plainStore, mask);
    else
        serialise(access, mask);
}

} // namespace compute::simd
