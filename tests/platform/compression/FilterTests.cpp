// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the encoders make, read back by the libraries' own one-call decoders; and the inflating
// filter against streams whole, cut and foreign.
#include "platform/compression/InputFilter.h"
#include "platform/compression/OutputFilter.h"

#include <brotli/decode.h>
#include <gtest/gtest.h>
#include <lz4frame.h>
#include <lzma.h>

#include <algorithm>
#include <random>
#include <vector>

namespace platform {
namespace {

using Bytes = std::vector<std::byte>;
using View = std::span<const std::byte>;
using Algorithm = CompressionAlgorithm;

constexpr std::size_t bufferSize = 512; // small, so that everything takes several rounds

Bytes compress(Algorithm algorithm, View input, std::size_t sliceSize = 4096) {
    Bytes result;
    auto filter = OutputFilter::compressing(algorithm, bufferSize, [&](View block) {
        EXPECT_TRUE(!block.empty() && block.size() <= bufferSize) << block.size();
        result.insert(result.end(), block.begin(), block.end());
    });
    EXPECT_TRUE(filter) << filter.error().message;
    for (; !input.empty(); input = input.subspan(std::min(sliceSize, input.size())))
        EXPECT_TRUE(filter->write(input.first(std::min(sliceSize, input.size()))));
    EXPECT_TRUE(filter->write({}));
    return result;
}

Result<Bytes> inflate(View data) {
    constexpr std::size_t pieceSize = 100;
    auto filter = InputFilter::inflating(bufferSize, [&](std::size_t length) {
        const View piece = data.first(std::min(length, data.size()));
        data = data.subspan(piece.size());
        return piece;
    });
    Bytes result;
    for (;;) {
        const Bytes piece = SL42_TRY(filter->read(pieceSize));
        if (piece.empty())
            return result;
        EXPECT_LE(piece.size(), pieceSize);
        result.insert(result.end(), piece.begin(), piece.end());
    }
}

/// With the library's own decoder, or ours for what we read, too; empty when it does not like the
/// data.
Bytes decode(Algorithm algorithm, const Bytes& data, std::size_t size) {
    if (algorithm == Algorithm::Zlib) {
        const auto inflated = inflate(data);
        return inflated ? *inflated : Bytes{};
    }
    Bytes result(size + 1); // one more, to notice when too much comes out
    const auto* in = reinterpret_cast<const std::uint8_t*>(data.data());
    auto* out = reinterpret_cast<std::uint8_t*>(result.data());
    std::size_t made = result.size();
    bool isWhole = false;
    std::size_t used = data.size();
    if (algorithm == Algorithm::Brotli) {
        isWhole =
            BrotliDecoderDecompress(data.size(), in, &made, out) == BROTLI_DECODER_RESULT_SUCCESS;
    } else if (algorithm == Algorithm::Lz4) {
        LZ4F_dctx* context = nullptr;
        LZ4F_createDecompressionContext(&context, LZ4F_VERSION);
        isWhole = LZ4F_decompress(context, out, &made, in, &used, nullptr) == 0;
        LZ4F_freeDecompressionContext(context);
    } else {
        std::uint64_t memory = UINT64_MAX;
        used = made = 0;
        isWhole = lzma_stream_buffer_decode(&memory, 0, nullptr, in, &used, data.size(), out, &made,
                                            result.size()) == LZMA_OK;
    }
    if (!isWhole || used != data.size())
        return {};
    result.resize(made);
    return result;
}

Bytes noise(std::size_t length) {
    std::minstd_rand random(42);
    Bytes bytes(length);
    std::ranges::generate(bytes, [&] { return static_cast<std::byte>(random() >> 8); });
    return bytes;
}

TEST(OutputFilter, MakesWhatTheLibrariesRead) {
    const Bytes inputs[] = {Bytes(1), Bytes(4096, std::byte{'a'}), Bytes(300'000, std::byte{'b'}),
                            noise(100'000)};
    for (const Algorithm algorithm :
         {Algorithm::Brotli, Algorithm::Lz4, Algorithm::Lzma, Algorithm::Zlib})
        for (const Bytes& input : inputs)
            for (const std::size_t sliceSize : {std::size_t{77}, std::size_t{4096}, input.size()})
                EXPECT_EQ(decode(algorithm, compress(algorithm, input, sliceSize), input.size()),
                          input)
                    << nameOf(algorithm) << ", " << input.size() << " in slices of " << sliceSize;
}

TEST(InputFilter, ReadsItsOwnStreamsAndRefusesOthers) {
    for (const Bytes& text : {Bytes(), Bytes(1), noise(70'000)})
        EXPECT_EQ(inflate(compress(Algorithm::Zlib, text)).value(), text);
    std::size_t length = 2 * bufferSize - 50;
    while (compress(Algorithm::Zlib, noise(length)).size() != 2 * bufferSize)
        ASSERT_LT(++length, 2 * bufferSize);
    // The second ends with a block of input.
    for (const Bytes& text : {noise(5000), noise(length)}) {
        const Bytes whole = compress(Algorithm::Zlib, text);
        EXPECT_EQ(inflate(whole).value(), text);
        for (const std::size_t cut : {std::size_t{0}, std::size_t{1}, bufferSize, whole.size() - 1})
            EXPECT_EQ(inflate(View(whole).first(cut)).error().message,
                      "the compressed text ends early");
        for (const std::size_t more : {std::size_t{1}, 2 * bufferSize}) {
            Bytes longer = whole;
            longer.resize(whole.size() + more);
            EXPECT_EQ(inflate(longer).error().message, "something follows the compressed text");
        }
    }
    EXPECT_EQ(inflate(Bytes(10, std::byte{0xFF})).error().message, "this is not compressed text");
}

} // namespace
} // namespace platform
