// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Every thread of a grid runs exactly once, and how the grid is divided cannot be seen.
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <numeric>
#include <string>
#include <unistd.h>

namespace {

using namespace compute;
using kernel::ParameterKind;

/// Adds 1 + x + 1000 y + 1000000 z to the thread's own element.
const char* countText = R"(
    define spir_func void @k(ptr %out, ptr byval([4 x i32]) align 16 %at,
                             ptr byval([4 x i32]) align 16 %size) {
        %x = load i32, ptr %at
        %yp = getelementptr i32, ptr %at, i64 1
        %y = load i32, ptr %yp
        %zp = getelementptr i32, ptr %at, i64 2
        %z = load i32, ptr %zp
        %w = load i32, ptr %size
        %hp = getelementptr i32, ptr %size, i64 1
        %h = load i32, ptr %hp
        %plane = mul i32 %z, %h
        %line = add i32 %plane, %y
        %start = mul i32 %line, %w
        %index = add i32 %start, %x
        %place = getelementptr i32, ptr %out, i32 %index
        %old = load i32, ptr %place
        %ty = mul i32 %y, 1000
        %tz = mul i32 %z, 1000000
        %s1 = add i32 %x, %ty
        %s2 = add i32 %s1, %tz
        %s3 = add i32 %s2, 1
        %new = add i32 %old, %s3
        store i32 %new, ptr %place
        ret void
    })";

TEST(GridTests, EveryThreadRunsOnce) {
    const auto compiled = tests::compile(tests::makeProgram(
        countText, {tests::buffer(0), tests::attribute(ParameterKind::ThreadPositionInGrid, 3),
                    tests::attribute(ParameterKind::ThreadsPerGrid, 3)}));
    ASSERT_TRUE(compiled);
    for (const host::Extent grid : {host::Extent{1, 1, 1},
                                    {7, 1, 1},
                                    {4096, 1, 1},
                                    {5000, 1, 1},
                                    {100'003, 1, 1},
                                    {768'000, 1, 1},
                                    {960, 540, 1},
                                    {31, 17, 5},
                                    {3000, 3, 2},
                                    {1, 1000, 1},
                                    {1, 1, 77},
                                    {2049, 2, 1}}) {
        std::vector<std::uint32_t> out(std::size_t(grid.width) * grid.height * grid.depth + 1, 5);
        compiled->run(tests::bind(out), grid, {32, 1, 1});
        std::size_t wrong = 0;
        std::size_t index = 0;
        for (std::uint32_t z = 0; z < grid.depth; ++z)
            for (std::uint32_t y = 0; y < grid.height; ++y)
                for (std::uint32_t x = 0; x < grid.width; ++x)
                    wrong += out[index++] != 5 + 1 + x + 1000 * y + 1'000'000 * z;
        EXPECT_EQ(wrong, 0u) << grid.width << " x " << grid.height << " x " << grid.depth;
        EXPECT_EQ(out.back(), 5u) << "wrote past the end";
    }
}

TEST(GridTests, AnEmptyGridRunsNothing) {
    const auto compiled =
        tests::compile(tests::makeOneDimensional("store i32 1, ptr %out\nret void"));
    ASSERT_TRUE(compiled);
    std::vector<std::uint32_t> out = {0};
    for (const host::Extent grid : {host::Extent{0, 1, 1}, {1, 0, 1}, {1, 1, 0}})
        compiled->run(tests::bind(out), grid, {1, 1, 1});
    EXPECT_EQ(out[0], 0u);
}

TEST(GridTests, EarlyReturnEndsOneThreadOnly) {
    const auto compiled = tests::compile(tests::makeOneDimensional(R"(
        %odd = trunc i32 %x to i1
        br i1 %odd, label %leave, label %work
    leave:
        ret void
    work:
        %place = getelementptr i32, ptr %out, i32 %x
        store i32 1, ptr %place
        ret void)"));
    ASSERT_TRUE(compiled);
    std::vector<std::uint32_t> out(1001);
    compiled->run(tests::bind(out), {1001, 1, 1}, {1, 1, 1});
    EXPECT_EQ(std::accumulate(out.begin(), out.end(), 0u), 501u);
}

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

void reportKernel(int) {
    const char* name = host::kernelOnThisThread();
    _exit(name != nullptr && std::strcmp(name, "k") == 0 ? 7 : 8);
}

TEST(GridTests, AFaultHandlerLearnsWhichKernelRan) {
    EXPECT_EQ(host::kernelOnThisThread(), nullptr);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const auto compiled =
                tests::compile(tests::makeOneDimensional("store i32 1, ptr %out\nret void"));
            std::signal(SIGSEGV, reportKernel);
            compiled->run({}, {100'000, 1, 1}, {1, 1, 1});
        },
        testing::ExitedWithCode(7), "");
}

} // namespace
