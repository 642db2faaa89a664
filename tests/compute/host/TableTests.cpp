// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Constant tables of odd sizes.
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

namespace {

/// Tables whose address is handed on share an image, here of just one page with the bytes at its
/// very end, unless the tables are aligned for the words that bytes are gathered out of.
TEST(TableTests, BytesAreReadUpToTheEndOfTheLastTable) {
    const std::string body = R"(
        %f = freeze i32 %x
        %step = mul i32 %f, 819
        %p = getelementptr [4095 x i8], ptr @bytes, i32 0, i32 %step
        %v = load i8, ptr %p
        %w = zext i8 %v to i32
        %place = getelementptr i32, ptr %out, i32 %x
        store i32 %w, ptr %place
        %behind = getelementptr [2 x ptr], ptr %out, i32 50
        %behind1 = getelementptr ptr, ptr %behind, i32 1
        store ptr @one, ptr %behind
        store ptr @bytes, ptr %behind1
        ret void)";
    std::string contents;
    for (unsigned i = 0; i < 4095; ++i)
        contents += std::string(i == 0 ? "" : ", ") + "i8 " + std::to_string(i / 819 + 1);
    const auto compiled =
        tests::compile(tests::makeOneDimensional(body, "@one = internal constant i8 9, align 1\n"
                                                       "@bytes = internal constant [4095 x i8] [" +
                                                           contents + "], align 1\n"));
    ASSERT_TRUE(compiled);
    std::vector<std::uint32_t> out(1024);
    compiled->run(tests::bind(out), {20, 1, 1}, {1, 1, 1});
    for (std::uint32_t x = 0; x < 20; ++x)
        EXPECT_EQ(out[x], std::min(x + 1, 5u)) << x;
}

} // namespace
