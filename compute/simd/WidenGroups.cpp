// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/WidenGroups.h"

#include "compute/simd/LaneBits.h"
#include "compute/simd/Weave.h"

#include <llvm/ADT/Sequence.h>
#include <llvm/Analysis/VectorUtils.h>

namespace compute::simd {
namespace {

constexpr std::int64_t wordBytes = 4;
constexpr unsigned structureWords = LaneMemory::spareBytes / wordBytes;

/// How many words from word `at` on are best taken together: as many as loadStructures() takes when
/// all of them are wanted, else what one lane of a gather holds.
unsigned wordsTogether(unsigned wanted, unsigned at) {
    const auto following = static_cast<unsigned>(llvm::countr_one(wanted >> at));
    return following > 2 ? std::min(following, structureWords) : following;
}

} // namespace

/// Where a vector of words lies behind the first of its group.
llvm::Value* WidenGroups::partOffset(unsigned part) {
    return m_builder.getInt64(std::uint64_t(part) * m_builder.lanes() * wordBytes);
}

llvm::BasicBlock* WidenGroups::newBlock(const char* name) {
    return llvm::BasicBlock::Create(m_builder.getContext(), name,
                                    m_builder.GetInsertBlock()->getParent());
}

Words WidenGroups::loadWords(const AccessGroup& group, llvm::Value* start, llvm::Value* mask) {
    const auto count = static_cast<unsigned>(group.stride / wordBytes);
    Words memory;
    for (unsigned part = 0; part < count; ++part)
        memory.push_back(m_memory.loadRow(m_builder.getInt32Ty(),
                                          m_builder.CreatePtrAdd(start, partOffset(part)),
                                          weaveMask(m_builder, mask, part, count, group.words())));
    return unweave(m_builder, memory);
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
            llvm::Value* both = m_memory.gather(m_builder.getInt64Ty(), place, mask);
            words[i] = m_builder.CreateTrunc(both, word);
            words[i + 1] = m_builder.CreateTrunc(
                m_builder.CreateLShr(both, llvm::ConstantInt::get(both->getType(), 32)), word);
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
    Words words = unweave(m_builder, memory);
    words.resize(count);
    return words;
}

void WidenGroups::storeStructures(const Words& words, llvm::Value* pointers, llvm::Value* mask) {
    const auto count = static_cast<unsigned>(words.size());
    Words complete = words;
    complete.resize(structureWords, llvm::PoisonValue::get(words[0]->getType()));
    const Words memory = weave(m_builder, complete);
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

WidenGroups::Starts WidenGroups::findStarts(const AccessGroup& group, llvm::Value* mask) {
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

Words WidenGroups::loadWordsAnywhere(const AccessGroup& group, llvm::Value* mask) {
    const Starts starts = findStarts(group, mask);
    llvm::BasicBlock* row = newBlock("row");
    llvm::BasicBlock* apart = newBlock("apart");
    llvm::BasicBlock* loaded = newBlock("loaded");
    m_builder.CreateCondBr(starts.isRow, row, apart);
    m_builder.SetInsertPoint(row);
    const Words together = loadWords(group, starts.first, mask);
    row = m_builder.GetInsertBlock();
    m_builder.CreateBr(loaded);
    m_builder.SetInsertPoint(apart);
    const Words gathered = gatherWords(group, starts.pointers, mask);
    apart = m_builder.GetInsertBlock();
    m_builder.CreateBr(loaded);
    m_builder.SetInsertPoint(loaded);
    Words words;
    for (unsigned i = 0; i < together.size(); ++i) {
        llvm::PHINode* phi = m_builder.CreatePHI(gathered[i]->getType(), 2);
        phi->addIncoming(together[i], row);
        phi->addIncoming(gathered[i], apart);
        words.push_back(phi);
    }
    return words;
}

void WidenGroups::loadGroup(const AccessGroup& group, llvm::Value* mask) {
    Words words;
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
    const Words memory = weave(m_builder, words);
    for (unsigned part = 0; part < count; ++part) {
        if (memory[part] == nullptr)
            continue;
        llvm::Value* place = m_builder.CreatePtrAdd(start, partOffset(part));
        m_memory.storeRow(memory[part], place,
                          weaveMask(m_builder, mask, part, count, group.words()));
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
