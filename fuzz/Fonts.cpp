// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The file in which drawn fonts are kept. The checksum is put right first, or nothing else would
// ever be looked at.
#include "SL42/font/FontCache.h"
#include "fuzz/InputFile.h"
#include "platform/base/Fnv.h"

#include <cstring>
#include <vector>

/// That of the rest stands in front.
static void putChecksum(std::vector<std::byte>& file) {
    const std::uint64_t sum = platform::fnv1a64(std::span(file).subspan(sizeof sum));
    std::memcpy(file.data(), &sum, sizeof sum);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::uint32_t pictureSize = 16;
    const fuzz::View bytes = fuzz::viewOf(data, size);
    std::vector<std::byte> contents(sizeof(std::uint64_t));
    contents.insert(contents.end(), bytes.begin(), bytes.end());
    putChecksum(contents);
    static fuzz::InputFile file;
    file.hold(contents);
    const auto pictures = starloom::FontCache(file.path()).load("key", pictureSize);
    if (!pictures)
        return 0;
    for (const auto& style : pictures->styles)
        fuzz::require(style && style->size() == std::size_t{pictureSize} * pictureSize,
                      "a style has another size than asked for");
    return 0;
}
