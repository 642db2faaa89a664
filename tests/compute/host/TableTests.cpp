// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Constant tables of odd sizes.
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

namespace {

/// A table of `count` bytes, which hold their index modulo 200.
std::string byteTable(unsigned count) {
    const std::string n = std::to_string(count);
    std::string text = "@table" + n + " = internal constant [" + n + " x i8] [";
    for (unsigned i = 0; i < count; ++i)
        text += std::string(i == 0 ? "" : ", ") + "i8 " + std::to_string(i % 200);
    return text + "], align 1\n";
}

TEST(TableTests, BytesAreReadUpToTheEndOfTheLastTable) {
    // Tables whose address escapes share an image, which is one page here. Unless both are aligned
    // for the words that bytes are gathered out of, a word of the second ends behind the page.
    std::string body = "%f = freeze i32 %x\n%step = mul i32 %f, 512\n";
    for (const std::string n : {"2047", "2049"})
        body += "%p" + n + " = getelementptr [" + n + " x i8], ptr @table" + n +
                ", i32 0, i32 %step\n%v" + n + " = load i8, ptr %p" + n + "\n%w" + n +
                " = zext i8 %v" + n + " to i32\n%q" + n + " = getelementptr ptr, ptr %out, i32 " +
                n.substr(2) + "\nstore ptr @table" + n + ", ptr %q" + n + "\n";
    body += "%sum = add i32 %w2047, %w2049\n%place = getelementptr i32, ptr %out, i32 %x\n"
            "store i32 %sum, ptr %place\nret void";
    const auto compiled =
        tests::compile(tests::makeOneDimensional(body, byteTable(2047) + byteTable(2049)));
    ASSERT_TRUE(compiled);
    std::vector<std::uint32_t> out(1024);
    compiled->run(tests::bind(out), {20, 1, 1}, {1, 1, 1});
    for (std::uint32_t x = 0; x < 20; ++x)
        EXPECT_EQ(out[x], std::min(512 * x, 2046u) % 200 + std::min(512 * x, 2048u) % 200) << x;
}

} // namespace
