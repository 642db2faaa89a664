// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/WidenMemory.h"

#include "compute/simd/Weave.h"

#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/Operator.h>

namespace compute::simd {
namespace {

const llvm::Align unaligned(1);
constexpr std::int64_t wordBytes = 4;

llvm::Type* integerOf(LaneBuilder& builder, std::uint64_t bytes) {
    return builder.getIntNTy(static_cast<unsigned>(bytes * 8));
}

/// The bits of a vector's elements as integers, and back.
llvm::Value* toBits(LaneBuilder& builder, llvm::Value* value, llvm::Type* bits) {
    return value->getType()->getScalarType()->isPointerTy()
               ? builder.CreatePtrToInt(value, builder.wideType(bits))
               : builder.CreateBitCast(value, builder.wideType(bits));
}

llvm::Value* fromBits(LaneBuilder& builder, llvm::Value* bits, llvm::Type* type) {
    return type->isPointerTy() ? builder.CreateIntToPtr(bits, builder.wideType(type))
                               : builder.CreateBitCast(bits, builder.wideType(type));
}

} // namespace

std::uint64_t WidenMemory::sizeOf(llvm::Type* type) const {
    return m_builder.GetInsertBlock()
        ->getModule()
        ->getDataLayout()
        .getTypeStoreSize(type)
        .getFixedValue();
}

bool WidenMemory::hasMaskedRow(llvm::Type* type) const {
    const std::uint64_t size = sizeOf(type);
    return m_builder.lanes() >= 16 || (m_builder.lanes() == 8 && size >= 4);
}

bool WidenMemory::hasGather(llvm::Type* type) const {
    return m_builder.lanes() >= 8 && sizeOf(type) >= 4;
}

bool WidenMemory::hasScatter(llvm::Type* type) const {
    return m_builder.lanes() >= 16 && sizeOf(type) >= 4;
}

llvm::Value* WidenMemory::spare() {
    if (m_spare == nullptr)
        m_spare = m_builder.variable(m_builder.getInt64Ty(), 1, llvm::Align(8));
    return m_spare;
}

llvm::Value* WidenMemory::safePointers(const Addresses& addresses, llvm::Value* mask) {
    return m_builder.CreateSelect(mask, m_values.pointers(addresses), m_builder.broadcast(spare()));
}

// --- Variables and addresses -------------------------------------------------------------------

void WidenMemory::widenVariable(llvm::AllocaInst& variable) {
    const llvm::DataLayout& layout = variable.getModule()->getDataLayout();
    const std::uint64_t size = variable.getAllocationSize(layout)->getFixedValue();
    if (m_private.kind(&variable) == PrivateMemory::Kind::Woven) {
        m_woven[&variable] =
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

void WidenMemory::widenAddress(llvm::GetElementPtrInst& address) {
    if (auto* variable = llvm::dyn_cast<llvm::AllocaInst>(llvm::getUnderlyingObject(&address, 0)))
        if (m_private.kind(variable) == PrivateMemory::Kind::Woven)
            return; // only ever used by the accesses, which start from the variable
    Addresses result = m_values.addresses(address.getPointerOperand());
    const llvm::DataLayout& layout = address.getModule()->getDataLayout();
    llvm::MapVector<llvm::Value*, llvm::APInt> scales;
    llvm::APInt constant(64, 0);
    llvm::cast<llvm::GEPOperator>(address).collectOffset(layout, 64, scales, constant);
    llvm::Value* scalarOffset = m_builder.getInt64(constant.getZExtValue());
    for (const auto& [index, scale] : scales) {
        llvm::Value* factor = m_builder.getInt64(scale.getZExtValue());
        if (m_values.isUniform(index)) {
            llvm::Value* number =
                m_builder.CreateSExtOrTrunc(m_values.scalar(index), m_builder.getInt64Ty());
            scalarOffset = m_builder.CreateAdd(scalarOffset, m_builder.CreateMul(number, factor));
            continue;
        }
        llvm::Value* numbers = m_builder.CreateSExtOrTrunc(
            m_values.wide(index), m_builder.wideType(m_builder.getInt64Ty()));
        numbers = m_builder.CreateMul(numbers, m_builder.broadcast(factor));
        result.offsets =
            result.offsets == nullptr ? numbers : m_builder.CreateAdd(result.offsets, numbers);
    }
    if (result.base != nullptr) {
        result.base = m_builder.CreatePtrAdd(result.base, scalarOffset);
    } else {
        llvm::Value* offsets = m_builder.broadcast(scalarOffset);
        if (result.offsets != nullptr)
            offsets = m_builder.CreateAdd(offsets, result.offsets);
        result = {.pointers = m_builder.CreateGEP(m_builder.getInt8Ty(), result.pointers, offsets)};
    }
    m_values.setAddresses(&address, result);
    m_values.setWide(&address, m_values.pointers(result));
}

std::optional<WidenMemory::WovenPlace> WidenMemory::wovenPlace(llvm::Value* pointer) {
    auto* variable = llvm::dyn_cast<llvm::AllocaInst>(llvm::getUnderlyingObject(pointer, 0));
    if (variable == nullptr || m_private.kind(variable) != PrivateMemory::Kind::Woven)
        return std::nullopt;
    const std::uint64_t granule = m_private.granule(variable);
    const std::uint64_t lanes = m_builder.lanes();
    WovenPlace place{.base = m_woven.lookup(variable), .offsets = nullptr, .granule = granule};
    const llvm::DataLayout& layout = variable->getModule()->getDataLayout();
    while (pointer != variable) {
        auto* step = llvm::cast<llvm::GEPOperator>(pointer);
        llvm::MapVector<llvm::Value*, llvm::APInt> scales;
        llvm::APInt constant(64, 0);
        step->collectOffset(layout, 64, scales, constant);
        place.base = m_builder.CreatePtrAdd(place.base,
                                            m_builder.getInt64((constant * lanes).getZExtValue()));
        for (const auto& [index, scale] : scales) {
            llvm::Value* factor = m_builder.getInt64((scale * lanes).getZExtValue());
            if (m_values.isUniform(index)) {
                llvm::Value* number =
                    m_builder.CreateSExtOrTrunc(m_values.scalar(index), m_builder.getInt64Ty());
                place.base =
                    m_builder.CreatePtrAdd(place.base, m_builder.CreateMul(number, factor));
                continue;
            }
            llvm::Value* numbers = m_builder.CreateSExtOrTrunc(
                m_values.wide(index), m_builder.wideType(m_builder.getInt64Ty()));
            numbers = m_builder.CreateMul(numbers, m_builder.broadcast(factor));
            place.offsets =
                place.offsets == nullptr ? numbers : m_builder.CreateAdd(place.offsets, numbers);
        }
        pointer = step->getPointerOperand();
    }
    return place;
}

// --- Loads ---------------------------------------------------------------------------------------

llvm::Value* WidenMemory::load(llvm::LoadInst& load, llvm::Value* mask) {
    llvm::Type* type = load.getType();
    if (const auto place = wovenPlace(load.getPointerOperand()))
        return loadWoven(type, *place, mask);
    const Addresses addresses = m_values.addresses(load.getPointerOperand());
    const bool isRow = addresses.base != nullptr && addresses.offsets == nullptr &&
                       addresses.stride == static_cast<std::int64_t>(sizeOf(type));
    if (isRow && !type->isIntegerTy(1))
        return loadRow(type, addresses.base, mask);
    return gather(type, addresses, mask);
}

llvm::Value* WidenMemory::loadWoven(llvm::Type* type, const WovenPlace& place, llvm::Value* mask) {
    if (place.offsets == nullptr)
        return m_builder.CreateAlignedLoad(m_builder.wideType(type), place.base, unaligned);
    return gather(type,
                  {.base = place.base,
                   .stride = static_cast<std::int64_t>(place.granule),
                   .offsets = place.offsets},
                  mask);
}

llvm::Value* WidenMemory::loadRow(llvm::Type* type, llvm::Value* base, llvm::Value* mask) {
    llvm::Type* wide = m_builder.wideType(type);
    if (!hasMaskedRow(type))
        return loadEachLane(type, {.base = base, .stride = static_cast<std::int64_t>(sizeOf(type))},
                            mask);
    return m_builder.CreateMaskedLoad(wide, base, unaligned, mask,
                                      llvm::Constant::getNullValue(wide));
}

llvm::Value* WidenMemory::gather(llvm::Type* type, const Addresses& addresses, llvm::Value* mask) {
    if (hasGather(type))
        return m_builder.CreateMaskedGather(m_builder.wideType(type), m_values.pointers(addresses),
                                            unaligned, mask);
    const bool isNarrow = type->isIntegerTy(8) || type->isIntegerTy(16) || type->isHalfTy();
    if (isNarrow && m_builder.lanes() >= 8)
        return gatherBytes(type, addresses, mask);
    return loadEachLane(type, addresses, mask);
}

/// Reads the word around the number, which may begin before it but never reaches into a page that
/// the number is not in.
llvm::Value* WidenMemory::gatherBytes(llvm::Type* type, const Addresses& addresses,
                                      llvm::Value* mask) {
    constexpr std::uint64_t pageBytes = 4096;
    const auto lowest = static_cast<std::uint64_t>(wordBytes) - sizeOf(type);
    llvm::Type* wide = m_builder.wideType(m_builder.getInt64Ty());
    const auto number = [&](std::uint64_t value) {
        return m_builder.broadcast(m_builder.getInt64(value));
    };
    llvm::Value* pointers = m_values.pointers(addresses);
    llvm::Value* inPage =
        m_builder.CreateAnd(m_builder.CreatePtrToInt(pointers, wide), number(pageBytes - 1));
    llvm::Value* isLate =
        m_builder.CreateICmpUGT(inPage, number(pageBytes - static_cast<std::uint64_t>(wordBytes)));
    llvm::Value* back = m_builder.CreateSelect(isLate, number(lowest), number(0));
    llvm::Value* words = m_builder.CreateMaskedGather(
        m_builder.wideType(m_builder.getInt32Ty()),
        m_builder.CreateGEP(m_builder.getInt8Ty(), pointers, m_builder.CreateNeg(back)), unaligned,
        mask);
    llvm::Type* wordType = m_builder.wideType(m_builder.getInt32Ty());
    llvm::Value* shift = m_builder.CreateSelect(
        isLate, llvm::ConstantInt::get(wordType, 8 * lowest), llvm::ConstantInt::get(wordType, 0));
    llvm::Type* bits = integerOf(m_builder, sizeOf(type));
    return fromBits(
        m_builder,
        m_builder.CreateTrunc(m_builder.CreateLShr(words, shift), m_builder.wideType(bits)), type);
}

llvm::Value* WidenMemory::loadEachLane(llvm::Type* type, const Addresses& addresses,
                                       llvm::Value* mask) {
    llvm::Value* pointers = safePointers(addresses, mask);
    llvm::Value* result = llvm::PoisonValue::get(m_builder.wideType(type));
    for (unsigned lane = 0; lane < m_builder.lanes(); ++lane) {
        llvm::Value* pointer = m_builder.CreateExtractElement(pointers, lane);
        result = m_builder.CreateInsertElement(
            result, m_builder.CreateAlignedLoad(type, pointer, unaligned), lane);
    }
    return result;
}

llvm::BasicBlock* WidenMemory::newBlock(const char* name) {
    return llvm::BasicBlock::Create(m_builder.getContext(), name,
                                    m_builder.GetInsertBlock()->getParent());
}

WidenMemory::WordList WidenMemory::loadWords(const AccessGroup& group, llvm::Value* start,
                                             llvm::Value* mask) {
    const auto count = static_cast<unsigned>(group.stride / wordBytes);
    WordList memory;
    for (unsigned part = 0; part < count; ++part)
        memory.push_back(
            loadRow(m_builder.getInt32Ty(),
                    m_builder.CreatePtrAdd(start, m_builder.getInt64(part * m_builder.lanes() *
                                                                     std::uint64_t(wordBytes))),
                    weaveMask(m_builder, mask, part, count, group.words())));
    return unweave(m_builder, memory);
}

/// Two words at a time where both are wanted.
WidenMemory::WordList WidenMemory::gatherWords(const AccessGroup& group, llvm::Value* pointers,
                                               llvm::Value* mask) {
    const auto count = static_cast<unsigned>(group.stride / wordBytes);
    llvm::Type* word = m_builder.wideType(m_builder.getInt32Ty());
    WordList words(count, llvm::PoisonValue::get(word));
    for (unsigned i = 0; i < count; ++i) {
        const unsigned wanted = (group.words() >> i) & 3;
        if ((wanted & 1) == 0)
            continue;
        const Addresses place{
            .pointers = m_builder.CreateGEP(m_builder.getInt8Ty(), pointers,
                                            m_builder.getInt64(i * std::uint64_t(wordBytes)))};
        if (wanted == 1) {
            words[i] = gather(m_builder.getInt32Ty(), place, mask);
            continue;
        }
        llvm::Value* both = gather(m_builder.getInt64Ty(), place, mask);
        words[i] = m_builder.CreateTrunc(both, word);
        words[++i] = m_builder.CreateTrunc(
            m_builder.CreateLShr(both, llvm::ConstantInt::get(both->getType(), 32)), word);
    }
    return words;
}

WidenMemory::Starts WidenMemory::findStarts(const AccessGroup& group, llvm::Value* mask) {
    Addresses addresses = m_values.addresses(group.root);
    Starts starts{};
    starts.pointers =
        m_builder.CreateGEP(m_builder.getInt8Ty(), m_values.pointers(addresses),
                            m_builder.getInt64(static_cast<std::uint64_t>(group.start())));
    // Lanes without a thread may hold anything, but nothing that changes from one look to the next.
    starts.pointers = m_builder.CreateFreeze(starts.pointers);
    starts.first = m_builder.CreateExtractElement(starts.pointers, std::uint64_t(0));
    llvm::Value* row = m_values.pointers({.base = starts.first, .stride = group.stride});
    llvm::Value* isRow =
        m_builder.either(m_builder.CreateICmpEQ(starts.pointers, row), m_builder.CreateNot(mask));
    starts.isRow = m_builder.CreateNot(m_builder.any(m_builder.CreateNot(isRow)));
    return starts;
}

WidenMemory::WordList WidenMemory::loadWordsAnywhere(const AccessGroup& group, llvm::Value* mask) {
    const Starts starts = findStarts(group, mask);
    llvm::BasicBlock* row = newBlock("row");
    llvm::BasicBlock* apart = newBlock("apart");
    llvm::BasicBlock* loaded = newBlock("loaded");
    m_builder.CreateCondBr(starts.isRow, row, apart);
    m_builder.SetInsertPoint(row);
    const WordList together = loadWords(group, starts.first, mask);
    row = m_builder.GetInsertBlock();
    m_builder.CreateBr(loaded);
    m_builder.SetInsertPoint(apart);
    const WordList gathered = gatherWords(group, starts.pointers, mask);
    apart = m_builder.GetInsertBlock();
    m_builder.CreateBr(loaded);
    m_builder.SetInsertPoint(loaded);
    WordList words;
    for (unsigned i = 0; i < together.size(); ++i) {
        llvm::PHINode* phi = m_builder.CreatePHI(gathered[i]->getType(), 2);
        phi->addIncoming(together[i], row);
        phi->addIncoming(gathered[i], apart);
        words.push_back(phi);
    }
    return words;
}

void WidenMemory::loadGroup(const AccessGroup& group, llvm::Value* mask) {
    WordList words;
    if (group.isEven) {
        llvm::Value* start =
            m_builder.CreatePtrAdd(m_values.first(group.root),
                                   m_builder.getInt64(static_cast<std::uint64_t>(group.start())));
        words = loadWords(group, start, mask);
    } else {
        words = loadWordsAnywhere(group, mask);
    }
    for (const AccessGroup::Member& member : group.members)
        m_values.setWide(member.access, memberFromWords(group, member, words));
}

llvm::Value* WidenMemory::memberFromWords(const AccessGroup& group,
                                          const AccessGroup::Member& member,
                                          llvm::ArrayRef<llvm::Value*> words) {
    const std::int64_t offset = member.offset - group.start();
    llvm::Value* bits = words[static_cast<std::size_t>(offset / wordBytes)];
    llvm::Type* type = integerOf(m_builder, static_cast<std::uint64_t>(member.size));
    llvm::Type* wide = m_builder.wideType(type);
    if (member.size < wordBytes) {
        llvm::Value* shifted = m_builder.CreateLShr(
            bits, llvm::ConstantInt::get(bits->getType(),
                                         static_cast<std::uint64_t>(offset % wordBytes * 8)));
        bits = m_builder.CreateTrunc(shifted, wide);
    } else if (member.size > wordBytes) {
        llvm::Value* upper = words[static_cast<std::size_t>(offset / wordBytes + 1)];
        bits = m_builder.CreateOr(m_builder.CreateZExt(bits, wide),
                                  m_builder.CreateShl(m_builder.CreateZExt(upper, wide),
                                                      llvm::ConstantInt::get(wide, 32)));
    }
    return fromBits(m_builder, bits, member.access->getType());
}

// --- Stores --------------------------------------------------------------------------------------

void WidenMemory::store(llvm::StoreInst& store, llvm::Value* mask) {
    llvm::Value* value = m_values.wide(store.getValueOperand());
    if (const auto place = wovenPlace(store.getPointerOperand()))
        return storeWoven(value, *place, mask);
    const Addresses addresses = m_values.addresses(store.getPointerOperand());
    llvm::Type* type = store.getValueOperand()->getType();
    if (addresses.base != nullptr && addresses.offsets == nullptr) {
        if (addresses.stride == 0) {
            llvm::Value* last = m_builder.lane(value, m_builder.lastLane(mask));
            m_builder.CreateAlignedStore(last, addresses.base, unaligned);
            return;
        }
        if (addresses.stride == static_cast<std::int64_t>(sizeOf(type)) && !type->isIntegerTy(1))
            return storeRow(value, addresses.base, mask);
    }
    scatter(value, addresses, mask);
}

void WidenMemory::storeWoven(llvm::Value* value, const WovenPlace& place, llvm::Value* mask) {
    if (place.offsets != nullptr)
        return scatter(value,
                       {.base = place.base,
                        .stride = static_cast<std::int64_t>(place.granule),
                        .offsets = place.offsets},
                       mask);
    // The memory belongs to this core alone: what other lanes have there can be written back.
    if (mask != m_everyThread)
        value = m_builder.CreateSelect(
            mask, value, m_builder.CreateAlignedLoad(value->getType(), place.base, unaligned));
    m_builder.CreateAlignedStore(value, place.base, unaligned);
}

void WidenMemory::storeRow(llvm::Value* value, llvm::Value* base, llvm::Value* mask) {
    llvm::Type* type = value->getType()->getScalarType();
    if (hasMaskedRow(type))
        m_builder.CreateMaskedStore(value, base, unaligned, mask);
    else
        scatter(value, {.base = base, .stride = static_cast<std::int64_t>(sizeOf(type))}, mask);
}

void WidenMemory::scatter(llvm::Value* value, const Addresses& addresses, llvm::Value* mask) {
    if (hasScatter(value->getType()->getScalarType())) {
        m_builder.CreateMaskedScatter(value, m_values.pointers(addresses), unaligned, mask);
        return;
    }
    llvm::Value* pointers = safePointers(addresses, mask);
    for (unsigned lane = 0; lane < m_builder.lanes(); ++lane)
        m_builder.CreateAlignedStore(m_builder.CreateExtractElement(value, lane),
                                     m_builder.CreateExtractElement(pointers, lane), unaligned);
}

void WidenMemory::storeWords(const AccessGroup& group, const WordList& words, llvm::Value* start,
                             llvm::Value* mask) {
    const auto count = static_cast<unsigned>(words.size());
    const Words memory = weave(m_builder, words);
    for (unsigned part = 0; part < count; ++part) {
        if (memory[part] == nullptr)
            continue;
        llvm::Value* place = m_builder.CreatePtrAdd(
            start, m_builder.getInt64(part * m_builder.lanes() * std::uint64_t(wordBytes)));
        storeRow(memory[part], place, weaveMask(m_builder, mask, part, count, group.words()));
    }
}

void WidenMemory::scatterWords(const AccessGroup& group, const WordList& words,
                               llvm::Value* pointers, llvm::Value* mask) {
    llvm::Type* pair = m_builder.wideType(m_builder.getInt64Ty());
    for (unsigned i = 0; i < words.size(); ++i) {
        if (words[i] == nullptr)
            continue;
        const Addresses place{
            .pointers = m_builder.CreateGEP(m_builder.getInt8Ty(), pointers,
                                            m_builder.getInt64(i * std::uint64_t(wordBytes)))};
        if (((group.words() >> i) & 3) == 1) {
            scatter(words[i], place, mask);
            continue;
        }
        llvm::Value* upper = m_builder.CreateShl(m_builder.CreateZExt(words[i + 1], pair),
                                                 llvm::ConstantInt::get(pair, 32));
        scatter(m_builder.CreateOr(m_builder.CreateZExt(words[i], pair), upper), place, mask);
        ++i;
    }
}

void WidenMemory::storeGroup(const AccessGroup& group, llvm::Value* mask) {
    WordList words(static_cast<std::size_t>(group.stride / wordBytes), nullptr);
    for (const AccessGroup::Member& member : group.members)
        memberToWords(group, member, words);
    if (group.isEven) {
        llvm::Value* start =
            m_builder.CreatePtrAdd(m_values.first(group.root),
                                   m_builder.getInt64(static_cast<std::uint64_t>(group.start())));
        return storeWords(group, words, start, mask);
    }
    const Starts starts = findStarts(group, mask);
    llvm::BasicBlock* row = newBlock("row");
    llvm::BasicBlock* apart = newBlock("apart");
    llvm::BasicBlock* stored = newBlock("stored");
    m_builder.CreateCondBr(starts.isRow, row, apart);
    m_builder.SetInsertPoint(row);
    storeWords(group, words, starts.first, mask);
    m_builder.CreateBr(stored);
    m_builder.SetInsertPoint(apart);
    scatterWords(group, words, starts.pointers, mask);
    m_builder.CreateBr(stored);
    m_builder.SetInsertPoint(stored);
}

void WidenMemory::memberToWords(const AccessGroup& group, const AccessGroup::Member& member,
                                llvm::MutableArrayRef<llvm::Value*> words) {
    const std::int64_t offset = member.offset - group.start();
    const auto index = static_cast<std::size_t>(offset / wordBytes);
    llvm::Type* word = m_builder.wideType(m_builder.getInt32Ty());
    llvm::Value* value =
        m_values.wide(llvm::cast<llvm::StoreInst>(member.access)->getValueOperand());
    llvm::Value* bits =
        toBits(m_builder, value, integerOf(m_builder, static_cast<std::uint64_t>(member.size)));
    if (member.size > wordBytes) {
        words[index] = m_builder.CreateTrunc(bits, word);
        words[index + 1] = m_builder.CreateTrunc(
            m_builder.CreateLShr(bits, llvm::ConstantInt::get(bits->getType(), 32)), word);
        return;
    }
    if (member.size < wordBytes) {
        const auto shift = static_cast<std::uint64_t>(offset % wordBytes * 8);
        bits = m_builder.CreateShl(m_builder.CreateZExt(bits, word),
                                   llvm::ConstantInt::get(word, shift));
    }
    words[index] = words[index] == nullptr ? bits : m_builder.CreateOr(words[index], bits);
}

// --- Everything else -----------------------------------------------------------------------------

void WidenMemory::clearWoven(llvm::MemSetInst& clear, llvm::Value* mask) {
    auto* variable = llvm::cast<llvm::AllocaInst>(clear.getRawDest());
    llvm::AllocaInst* woven = m_woven.lookup(variable);
    const std::uint64_t length = llvm::cast<llvm::ConstantInt>(clear.getLength())->getZExtValue();
    llvm::Value* byte = m_values.scalar(clear.getValue());
    if (mask == m_everyThread) {
        m_builder.CreateMemSet(woven, byte, length * m_builder.lanes(), woven->getAlign());
        return;
    }
    const std::uint64_t granule = m_private.granule(variable);
    llvm::Type* element = integerOf(m_builder, granule);
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
    storeWoven(
        wide,
        {.base = m_builder.CreatePtrAdd(woven, offset), .offsets = nullptr, .granule = granule},
        mask);
    llvm::Value* next =
        m_builder.CreateAdd(offset, m_builder.getInt64(granule * m_builder.lanes()));
    offset->addIncoming(next, loop);
    m_builder.CreateCondBr(
        m_builder.CreateICmpULT(next, m_builder.getInt64(length * m_builder.lanes())), loop, done);
    m_builder.SetInsertPoint(done);
}

void WidenMemory::eachLane(llvm::Instruction& access, llvm::Value* mask) {
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
            group->isStore ? storeGroup(*group, mask) : loadGroup(*group, mask);
        return;
    }
    if (auto* clear = llvm::dyn_cast<llvm::MemSetInst>(&access)) {
        auto* variable = llvm::dyn_cast<llvm::AllocaInst>(clear->getRawDest());
        if (variable != nullptr && m_woven.contains(variable))
            return clearWoven(*clear, mask);
    }
    auto* plainLoad = llvm::dyn_cast<llvm::LoadInst>(&access);
    auto* plainStore = llvm::dyn_cast<llvm::StoreInst>(&access);
    if (plainLoad != nullptr && plainLoad->isSimple())
        m_values.setWide(&access, load(*plainLoad, mask));
    else if (plainStore != nullptr && plainStore->isSimple())
        store(*plainStore, mask);
    else
        eachLane(access, mask);
}

} // namespace compute::simd
