// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/Interleave.h"

#include <llvm/Support/MathExtras.h>

namespace compute::simd {
namespace {

/// Picks elements, numbered through all vectors, with one two-operand shuffle for each vector that
/// has any of them.
llvm::Value* pick(LaneBuilder& builder, llvm::ArrayRef<llvm::Value*> vectors,
                  llvm::ArrayRef<unsigned> numbers) {
    const unsigned lanes = builder.lanes();
    llvm::Value* picked = nullptr;
    for (unsigned i = 0; i < vectors.size(); ++i) {
        llvm::SmallVector<int> shuffle;
        bool isUsed = false;
        for (unsigned lane = 0; lane < lanes; ++lane) {
            const bool isHere = numbers[lane] / lanes == i;
            isUsed |= isHere && vectors[i] != nullptr;
            shuffle.push_back(isHere ? static_cast<int>(lanes + numbers[lane] % lanes)
                                     : static_cast<int>(lane));
        }
        if (!isUsed)
            continue;
        if (picked == nullptr)
            picked = llvm::PoisonValue::get(vectors[i]->getType());
        picked = builder.CreateShuffleVector(picked, vectors[i], shuffle);
    }
    return picked;
}

/// Interleaves the lower or the upper halves of two vectors, whose elements are `words` words each.
llvm::Value* zipHalves(LaneBuilder& builder, llvm::Value* first, llvm::Value* second,
                       unsigned words, bool isUpper) {
    const unsigned lanes = builder.lanes();
    llvm::SmallVector<int> shuffle;
    for (unsigned i = 0; i < lanes; ++i) {
        const unsigned element = i / words;
        const unsigned source = (isUpper ? lanes / 2 : 0) + element / 2 * words + i % words;
        shuffle.push_back(static_cast<int>(element % 2 * lanes + source));
    }
    return builder.CreateShuffleVector(first, second, shuffle);
}

llvm::Value* everySecond(LaneBuilder& builder, llvm::Value* first, llvm::Value* second,
                         unsigned from) {
    llvm::SmallVector<int> shuffle;
    for (unsigned i = 0; i < builder.lanes(); ++i)
        shuffle.push_back(static_cast<int>(2 * i + from));
    return builder.CreateShuffleVector(first, second, shuffle);
}

} // namespace

Words interleave(LaneBuilder& builder, llvm::ArrayRef<llvm::Value*> words) {
    const auto count = static_cast<unsigned>(words.size());
    const unsigned lanes = builder.lanes();
    if (count == 1)
        return {words[0]};
    const bool isComplete = llvm::all_of(words, [](llvm::Value* word) { return word != nullptr; });
    if (isComplete && count <= 4 && llvm::isPowerOf2_32(count) && lanes >= 2 * count) {
        Words pairs;
        for (unsigned i = 0; i < count; i += 2)
            for (const bool isUpper : {false, true})
                pairs.push_back(zipHalves(builder, words[i], words[i + 1], 1, isUpper));
        if (count == 2)
            return pairs;
        Words memory;
        for (unsigned half = 0; half < 2; ++half)
            for (const bool isUpper : {false, true})
                memory.push_back(zipHalves(builder, pairs[half], pairs[2 + half], 2, isUpper));
        return memory;
    }
    Words memory;
    for (unsigned part = 0; part < count; ++part) {
        llvm::SmallVector<unsigned> numbers;
        for (unsigned i = 0; i < lanes; ++i) {
            const unsigned element = part * lanes + i;
            numbers.push_back(element % count * lanes + element / count);
        }
        memory.push_back(pick(builder, words, numbers));
    }
    return memory;
}

Words deinterleave(LaneBuilder& builder, llvm::ArrayRef<llvm::Value*> memory) {
    const auto count = static_cast<unsigned>(memory.size());
    const unsigned lanes = builder.lanes();
    Words words(memory.begin(), memory.end());
    if (count == 1)
        return words;
    if (llvm::isPowerOf2_32(count) && count <= 4) {
        // Separates the words with even and odd numbers, again and again until each vector holds a
        // single word.
        Words evenWords;
        Words oddWords;
        for (unsigned i = 0; i < count; i += 2) {
            evenWords.push_back(everySecond(builder, memory[i], memory[i + 1], 0));
            oddWords.push_back(everySecond(builder, memory[i], memory[i + 1], 1));
        }
        if (count == 2)
            return {evenWords[0], oddWords[0]};
        const Words first = deinterleave(builder, evenWords);
        const Words second = deinterleave(builder, oddWords);
        return {first[0], second[0], first[1], second[1]};
    }
    for (unsigned word = 0; word < count; ++word) {
        llvm::SmallVector<unsigned> numbers;
        for (unsigned i = 0; i < lanes; ++i)
            numbers.push_back(i * count + word);
        words[word] = pick(builder, memory, numbers);
    }
    return words;
}

llvm::Value* interleaveMask(LaneBuilder& builder, llvm::Value* mask, unsigned part,
                            unsigned wordCount, unsigned words) {
    const unsigned lanes = builder.lanes();
    llvm::SmallVector<int> shuffle;
    for (unsigned i = 0; i < lanes; ++i) {
        const unsigned element = part * lanes + i;
        const bool isWanted = ((words >> (element % wordCount)) & 1) != 0;
        shuffle.push_back(static_cast<int>(isWanted ? element / wordCount : lanes));
    }
    return builder.CreateShuffleVector(mask, builder.noLanes(), shuffle);
}

} // namespace compute::simd
