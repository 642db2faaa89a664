// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What threads of a grid read and share.
#include "compute/host/memory/LeasedMemory.h"
#include "compute/memory/GuardedMemory.h"
#include "tests/Allocations.h"
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <thread>

namespace {

using namespace compute;

TEST(GridTests, ALoadAfterAStoreOfTheSameThreadSeesIt) {
    // The first load may be shared by all threads; the second, of the same address, may not.
    const auto compiled = tests::compile(
        tests::programOf("kernel void k(device uint* out, uint x [[thread_position_in_grid]]) {"
                         " out[x] = out[0] + x; out[x + 1024] = out[0]; }"));
    ASSERT_TRUE(compiled);
    std::vector<std::uint32_t> out(2048, 0);
    out[0] = 40;
    compiled->run(tests::bind(out), {1, 1, 1}, {1, 1, 1});
    EXPECT_EQ(out[0], 40u);
    out[0] = 41;
    compiled->run(tests::bind(out), {8, 1, 1}, {1, 1, 1});
    for (std::uint32_t x = 1; x < 8; ++x) {
        EXPECT_EQ(out[x], 41 + x);
        EXPECT_EQ(out[1024 + x], 41u);
    }
}

TEST(GridTests, NarrowNumbersAreReadWhereverTheyLie) {
    // The compiler does not see through freeze, so that it gathers. Nothing follows the memory.
    constexpr std::size_t pages = 4096 * 2;
    const auto memory = memory::GuardedMemory::allocate(pages);
    ASSERT_TRUE(memory);
    const std::span bytes((*memory)->data(), pages);
    for (std::size_t i = 0; i < pages; ++i)
        bytes[i] = static_cast<std::byte>(7 * i / 5 + 1);
    for (const std::uint32_t width : {1u, 2u}) {
        const std::string type = "i" + std::to_string(8 * width);
        const auto compiled = tests::compile(tests::makeProgram(
            "define spir_func void @k(ptr %in, ptr %out, i32 %x) {\n%f = freeze i32 %x\n"
            "%at = mul i32 %f, 7\n%p = getelementptr " +
                type + ", ptr %in, i32 %at\n%n = load " + type + ", ptr %p\n%e = zext " + type +
                " %n to i32\n%r = getelementptr i32, ptr %out, i32 %x\n"
                "store i32 %e, ptr %r\nret void\n}\n",
            {tests::buffer(0), tests::buffer(1), tests::position()}));
        ASSERT_TRUE(compiled);
        constexpr std::size_t threads = 40;
        const std::size_t size = (7 * (threads - 1) + 1) * width; // of what they read
        for (const std::size_t place : {std::size_t{0}, std::size_t{1}, std::size_t{3},
                                        std::size_t{4094}, std::size_t{4095}, pages - size}) {
            std::vector<std::uint32_t> out(threads);
            Bindings bindings = tests::bind(out, out);
            bindings.buffers[0] = &bytes[place];
            compiled->run(bindings, {threads, 1, 1}, {1, 1, 1});
            for (std::size_t x = 0; x < threads; ++x) {
                std::uint32_t expected = 0;
                std::memcpy(&expected, &bytes[place + 7 * x * width], width);
                EXPECT_EQ(out[x], expected) << type << " of thread " << x << " at " << place;
            }
        }
    }
}

/// A table of `count` bytes, which hold their index modulo 200.
std::string byteTable(unsigned count) {
    const std::string n = std::to_string(count);
    std::string text = "@table" + n + " = internal constant [" + n + " x i8] [";
    for (unsigned i = 0; i < count; ++i)
        text += std::string(i == 0 ? "" : ", ") + "i8 " + std::to_string(i % 200);
    return text + "], align 1\n";
}

TEST(GridTests, BytesAreReadUpToTheEndOfTheLastTable) {
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

/// Each thread adds its number to the square of the first number of the buffer, which is hoisted,
/// and stores the sum behind that.
std::shared_ptr<Kernel> compileAdditionToSquare() {
    return tests::compile(
        tests::programOf("kernel void k(device uint* out, uint x [[thread_position_in_grid]]) {"
                         " out[x + 1] = out[0] * out[0] + x; }"));
}

TEST(GridTests, RunningAKernelTakesNoMemory) {
    const auto compiled = compileAdditionToSquare();
    ASSERT_TRUE(compiled);
    std::vector<std::uint32_t> out(100'001);
    const auto bindings = tests::bind(out);
    EXPECT_EQ(test::allocationsOf([&] { compiled->run(bindings, {100'000, 1, 1}, {1, 1, 1}); }),
              0u);

    host::LeasedMemory large(1u << 20);
    EXPECT_EQ(test::allocationsOf([&] {
                  const host::LeasedMemory::Lease one(large);
                  const host::LeasedMemory::Lease other(large);
                  EXPECT_NE(one.data(), other.data());
              }),
              0u);
}

TEST(GridTests, GridsThatRunAtOnceKeepTheirHoistedValuesApart) {
    const auto compiled = compileAdditionToSquare();
    ASSERT_TRUE(compiled);
    constexpr std::uint32_t count = 20'000;
    const auto runAgainAndAgain = [&](std::uint32_t first) {
        std::vector<std::uint32_t> out(count + 1);
        std::size_t wrong = 0;
        for (out[0] = first; out[0] < first + 4000; ++out[0]) {
            compiled->run(tests::bind(out), {count, 1, 1}, {1, 1, 1});
            for (std::uint32_t x = 0; x < count; ++x)
                wrong += out[1 + x] == out[0] * out[0] + x ? 0 : 1;
        }
        EXPECT_EQ(wrong, 0u);
    };
    const std::jthread other(runAgainAndAgain, 10'000);
    runAgainAndAgain(20'000);
}

} // namespace
