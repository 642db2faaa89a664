// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/WidenGroups.h"

#include "compute/simd/emit/Interleave.h"
#include "compute/simd/emit/LaneBits.h"

#include <llvm/ADT/Sequence.h>
#include <llvm/Analysis/VectorUtils.h>

namespace compute::simd {
namespace {

constexpr std::int64_t wordBytes = 4;
constexpr unsigned structureWords = LaneMemory::scratchBytes / wordBytes;

/// The number of words from word `at` on that one access per lane should take: up to the limit of
/// loadStructures() when three or more in a row are wanted, else one lane of a gather.
unsigned wordsTogether(unsigned wanted, unsigned at) {
    const auto following = static_cast<unsigned>(llvm::countr_one(wanted >> at));
    return following > 2 ? std::min(following, structureWords) : following;
}

} // namespace

llvm::Value* WidenGroups::partOffset(unsigned part) {
    return m_builder.getInt64(std::uint64_t(part) * m_builder.lanes() * wordBytes);
}

llvm::Value* WidenGroups::partMask(const AccessGroup& group, llvm::Value* mask, unsigned part) {
    const auto count = static_cast<unsigned>(group.stride / wordBytes);
    auto* everyThread = llvm::dyn_cast<llvm::Instruction>(m_everyThread);
    if (mask != everyThread || everyThread == nullptr)
        return interleaveMask(m_builder, mask, part, count, group.words());
    llvm::Value*& known = m_partMasks[{part, count, group.words()}];
    if (known == nullptr) {
        const llvm::IRBuilderBase::InsertPointGuard guard(m_builder);
        m_builder.SetInsertPoint(everyThread->getParent(), std::next(everyThread->getIterator()));
        known = interleaveMask(m_builder, mask, part, count, group.words());
    }
    return known;
}

Words WidenGroups::loadWords(const AccessGroup& group, llvm::Value* start, llvm::Value* mask) {
    const auto count = static_cast<unsigned>(group.stride / wordBytes);
    Words memory;
    for (unsigned part = 0; part < count; ++part)
        memory.push_back(m_memory.loadContiguous(m_builder.getInt32Ty(),
                                                 m_builder.CreatePtrAdd(start, partOffset(part)),
                                                 partMask(group, mask, part)));
    return deinterleave(m_builder, memory);
}

Words WidenGroups::gatherWords(const AccessGroup& group, llvm::Value* pointers, llvm::Value* mask) {
    const auto count = static_cast<unsigned>(group.stride / wordBytes);
    llvm::Type* word = m_builder.wideType(m_builder.getInt32Ty());
    Words words(count, llvm::PoisonValue::get(word));
    for (unsigned i = 0; i < count;) {
        const unsigned together = wordsTogether(group.words(), i);
        const Addresses place{
            .pointers = m_builder.CreateGEP(m_builder.getInt8Ty(), pointers,
                                            m_builder.getInt64(i * std::uint64_t(wordBytes)))};
        if (together == 1) {
            words[i] = m_memory.gather(m_builder.getInt32Ty(), place, mask);
        } else if (together == 2) {
            llvm::Value* pair = m_memory.gather(m_builder.getInt64Ty(), place, mask);
            words[i] = m_builder.CreateTrunc(pair, word);
            words[i + 1] = m_builder.CreateTrunc(
                m_builder.CreateLShr(pair, llvm::ConstantInt::get(pair->getType(), 32)), word);
        } else if (together > 2) {
            llvm::copy(loadStructures(place.pointers, together, mask), words.begin() + i);
        }
        i += std::max(together, 1u);
    }
    return words;
}

Words WidenGroups::loadStructures(llvm::Value* pointers, unsigned count, llvm::Value* mask) {
    const unsigned lanes = m_builder.lanes();
    auto* type = llvm::FixedVectorType::get(m_builder.getInt32Ty(), count);
    llvm::SmallVector<llvm::Value*> structures;
    for (llvm::Value* pointer : m_memory.safePointers({.pointers = pointers}, mask)) {
        llvm::Value* structure = m_builder.CreateAlignedLoad(type, pointer, llvm::Align(1));
        structures.push_back(
            m_builder.CreateShuffleVector(structure, {0, 1, 2, count > 3 ? 3 : -1}));
    }
    Words memory;
    const unsigned each = lanes / structureWords;
    for (unsigned part = 0; part < structureWords; ++part)
        memory.push_back(llvm::concatenateVectors(
            m_builder, llvm::ArrayRef(structures).slice(std::size_t{part} * each, each)));
    Words words = deinterleave(m_builder, memory);
    words.resize(count);
    return words;
}

void WidenGroups::storeStructures(const Words& words, llvm::Value* pointers, llvm::Value* mask) {
    const auto count = static_cast<unsigned>(words.size());
    Words complete = words;
    complete.resize(structureWords, llvm::PoisonValue::get(words[0]->getType()));
    const Words memory = interleave(m_builder, complete);
    unsigned lane = 0;
    for (llvm::Value* pointer : m_memory.safePointers({.pointers = pointers}, mask)) {
        const unsigned first = lane * structureWords;
        const llvm::SmallVector<int> elements =
            llvm::to_vector(llvm::map_range(llvm::seq(count), [&](unsigned i) {
                return static_cast<int>(first % m_builder.lanes() + i);
            }));
        m_builder.CreateAlignedStore(
            m_builder.CreateShuffleVector(memory[first / m_builder.lanes()], elements), pointer,
            llvm::Align(1));
        ++lane;
    }
}

Addresses WidenGroups::starts(const AccessGroup& group) {
    Addresses addresses = m_values.addresses(group.root);
    llvm::Value*& begin = addresses.base != nullptr ? addresses.base : addresses.pointers;
    begin = m_builder.CreatePtrAdd(begin,
                                   m_builder.getInt64(static_cast<std::uint64_t>(group.start())));
    return addresses;
}

Words WidenGroups::loadWordsSpeculatively(const AccessGroup& group, llvm::Value* mask) {
    const Addresses places = starts(group);
    const LaneMemory::StrideCheck check = m_memory.checkStride(places, group.stride, mask);
    return m_builder.ifElse(
        check.holds, "contiguous", [&] { return loadWords(group, check.first, mask); },
        [&] { return gatherWords(group, m_values.pointers(places), mask); });
}

void WidenGroups::loadGroup(const AccessGroup& group, llvm::Value* mask) {
    Words words;
    if (group.isAffine) {
        words = loadWords(group, starts(group).base, mask);
    } else {
        words = loadWordsSpeculatively(group, mask);
    }
    for (const AccessGroup::Member& member : group.members)
        m_values.setWide(member.access, memberFromWords(group, member, words));
}

llvm::Value* WidenGroups::memberFromWords(const AccessGroup& group,
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

void WidenGroups::storeWords(const AccessGroup& group, const Words& words, llvm::Value* start,
                             llvm::Value* mask) {
    const auto count = static_cast<unsigned>(words.size());
    const Words memory = interleave(m_builder, words);
    for (unsigned part = 0; part < count; ++part) {
        if (memory[part] == nullptr)
            continue;
        llvm::Value* place = m_builder.CreatePtrAdd(start, partOffset(part));
        m_memory.storeContiguous(memory[part], place, partMask(group, mask, part));
    }
}

void WidenGroups::scatterWords(const AccessGroup& group, const Words& words, llvm::Value* pointers,
                               llvm::Value* mask) {
    llvm::Type* pair = m_builder.wideType(m_builder.getInt64Ty());
    for (unsigned i = 0; i < words.size();) {
        const unsigned together = wordsTogether(group.words(), i);
        const Addresses place{
            .pointers = m_builder.CreateGEP(m_builder.getInt8Ty(), pointers,
                                            m_builder.getInt64(i * std::uint64_t(wordBytes)))};
        if (together == 1) {
            m_memory.scatter(words[i], place, mask);
        } else if (together == 2) {
            llvm::Value* upper = m_builder.CreateShl(m_builder.CreateZExt(words[i + 1], pair),
                                                     llvm::ConstantInt::get(pair, 32));
            m_memory.scatter(m_builder.CreateOr(m_builder.CreateZExt(words[i], pair), upper), place,
                             mask);
        } else if (together > 2) {
            storeStructures(Words(words.begin() + i, words.begin() + i + together), place.pointers,
                            mask);
        }
        i += std::max(together, 1u);
    }
}

void WidenGroups::storeGroup(const AccessGroup& group, llvm::Value* mask) {
    Words words(static_cast<std::size_t>(group.stride / wordBytes), nullptr);
    for (const AccessGroup::Member& member : group.members)
        memberToWords(group, member, words);
    const Addresses places = starts(group);
    if (group.isAffine)
        return storeWords(group, words, places.base, mask);
    const LaneMemory::StrideCheck check = m_memory.checkStride(places, group.stride, mask);
    m_builder.ifElse(
        check.holds, "contiguous",
        [&] {
            storeWords(group, words, check.first, mask);
            return Words{};
        },
        [&] {
            scatterWords(group, words, m_values.pointers(places), mask);
            return Words{};
        });
}

void WidenGroups::memberToWords(const AccessGroup& group, const AccessGroup::Member& member,
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

} // namespace compute::simd
