// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Packing, unpacking, the size survey and the minifier.
#include "SL42/document/Compression.h"

#include "SL42/document/Minifier.h"
#include "platform/TextFile.h"
#include "platform/compression/OutputFilter.h"

#include <gtest/gtest.h>

#include <vector>

namespace starloom {
namespace {

using platform::Bytes;

/// Raw DEFLATE of any bytes, also of more than a text can have.
Bytes deflate(std::span<const std::byte> piece, int count) {
    Bytes result;
    auto filter = platform::OutputFilter::compressing(algo, streamBufferSize, [&](auto block) {
        result.insert(result.end(), block.begin(), block.end());
    });
    for (int index = 0; index < count; ++index)
        EXPECT_TRUE(filter->write(piece));
    EXPECT_TRUE(filter->write({}));
    return result;
}

std::string unpackError(std::span<const std::byte> data) {
    const auto text = Unpacker::unpack(data);
    return text ? "" : text.error().message;
}

TEST(Packing, TextsComeBack) {
    std::string song;
    for (int line = 0; line < 20'000; ++line)
        song += "float note" + std::to_string(line * 7919 % 1000) + " = sin(time);\r\n";
    for (const std::string& text :
         {std::string(), std::string("a"), std::string(pageSize - 1, 'b'),
          std::string(pageSize, 'b'), std::string(pageSize + 1, 'b'),
          std::string("  // caf\xC3\xA9 \xF0\x9F\x8E\xB5\n\t\0\n", 19), song}) {
        const auto packed = Packer::pack(text);
        ASSERT_TRUE(packed);
        const auto unpacked = Unpacker::unpack(*packed);
        ASSERT_TRUE(unpacked) << unpacked.error().message;
        EXPECT_TRUE(*unpacked == text) << text.size();
    }
    EXPECT_EQ(*Packer::pack(""), (Bytes{std::byte{3}, std::byte{0}})); // one empty fixed block
    EXPECT_LT(Packer::pack(song)->size(), song.size() / 5);
}

TEST(Packing, ABombEndsEarly) {
    const Bytes megabyte(1 << 20, std::byte{' '});
    const int most = platform::maxTextFileLength >> 20;
    EXPECT_EQ(Unpacker::unpack(deflate(megabyte, most)).value().size(),
              platform::maxTextFileLength);
    const Bytes bomb = deflate(megabyte, 128);
    EXPECT_LT(bomb.size(), 140'000U); // for 128 MB of text
    EXPECT_EQ(unpackError(bomb), "it is too long for a program text");
}

TEST(PackingDeathTest, WhatIsNotUtf8StopsTheProgram) {
    const Bytes latin1{std::byte{0xFC}, std::byte{'b'}};
    EXPECT_DEATH(unpackError(deflate(latin1, 1)),
                 "Fatal error: Error occurred decoding decompressed string\n");
    EXPECT_NE(unpackError(latin1), "");
}

TEST(Packing, TheSurveyListsEveryAlgorithm) {
    std::vector<std::string> lines;
    platform::Log log([&](std::string_view line) { lines.emplace_back(line); });
    const std::string text(10'000, 'x');
    const auto packed = Packer::multipack(text, log);
    ASSERT_TRUE(packed);
    EXPECT_EQ(*packed, *Packer::pack(text));
    ASSERT_EQ(lines.size(), algos.size());
    EXPECT_EQ(lines[2], "Not packed with lzfse, there is no encoder for it here");
    EXPECT_EQ(lines[4], "Packed with zlib, " + std::to_string(packed->size()) + " bytes");
}

TEST(Minifier, KeepsWhatCounts) {
    const std::pair<const char*, const char*> rows[] = {
        {"", ""},
        {"\n\n \t\r\n", ""},
        {"    cls();// clears", "cls();"},
        {"// only a comment\n  // and another", ""},
        {"a;\nb;\n", "a;b;"},
        {"  # define X 1  // one\nX", "# define X 1  \nX"},
        {"#include <a>", "#include <a>\n"},
        {"print(\"http://x\", 8);\nb;", "print(\"http:b;"},
        {"/* kept */ a /* // cut */", "/* kept */ a /* "},
        {"a / b /// c", "a / b "},
    };
    for (const auto& [source, packed] : rows)
        EXPECT_EQ(minify(source), packed) << source;
}

} // namespace
} // namespace starloom
