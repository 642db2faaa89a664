// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What threads of a grid share.
#include "tests/Allocations.h"
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

namespace {

using namespace compute;

TEST(GridTests, ALoadAfterAStoreOfTheSameThreadSeesIt) {
    // The first load may be shared by all threads; the second, of the same address, may not.
    const auto compiled = tests::compile(tests::makeOneDimensional(R"(
        %before = load i32, ptr %out
        %place = getelementptr i32, ptr %out, i32 %x
        %value = add i32 %before, %x
        store i32 %value, ptr %place
        %after = load i32, ptr %out
        %other = getelementptr i8, ptr %place, i64 4096
        store i32 %after, ptr %other
        ret void)"));
    ASSERT_TRUE(compiled);
    std::vector<std::uint32_t> out(2048, 0);
    out[0] = 40;
    compiled->run(tests::bind(out), {1, 1, 1}, {1, 1, 1});
    EXPECT_EQ(out[0], 40u);
    out[0] = 41;
    std::vector<std::uint32_t> shifted(2048, 0);
    compiled->run(tests::bind(out), {8, 1, 1}, {1, 1, 1});
    for (std::uint32_t x = 1; x < 8; ++x) {
        EXPECT_EQ(out[x], 41 + x);
        EXPECT_EQ(out[1024 + x], 41u);
    }
}

TEST(GridTests, RunningAKernelTakesNoMemory) {
    const auto compiled =
        tests::compile(tests::makeOneDimensional("store i32 1, ptr %out\nret void"));
    ASSERT_TRUE(compiled);
    std::vector<std::uint32_t> out(1);
    const auto bindings = tests::bind(out);
    EXPECT_EQ(test::allocationsOf([&] { compiled->run(bindings, {100'000, 1, 1}, {1, 1, 1}); }),
              0u);
}

} // namespace
