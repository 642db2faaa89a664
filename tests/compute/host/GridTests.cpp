// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What threads of a grid share.
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

TEST(GridTests, NarrowNumbersAreReadFromTheFirstOn) {
    // Wherever in a page and in a word the buffer begins. The compiler does not see through freeze,
    // so that it gathers.
    constexpr std::size_t page = 4096;
    std::vector<std::uint8_t> memory(4 * page);
    void* inside = memory.data() + 1;
    std::size_t room = memory.size() - 1;
    auto* aligned = static_cast<std::uint8_t*>(std::align(page, 3 * page - 1, inside, room));
    ASSERT_NE(aligned, nullptr);
    for (const unsigned bits : {8u, 16u}) {
        const std::string type = "i" + std::to_string(bits);
        std::string body = "%f = freeze i32 %x\n%o = shl i32 %f, 5\n%w = zext i32 %o to i64\n"
                           "%p = getelementptr i8, ptr %out, i64 %w\n%n = load ";
        body += type + ", ptr %p\n%e = zext ";
        body += type + " %n to i32\n%r = getelementptr i8, ptr %p, i64 8\n";
        body += "store i32 %e, ptr %r\nret void";
        const auto compiled = tests::compile(tests::makeOneDimensional(body));
        ASSERT_TRUE(compiled);
        for (const std::size_t place : {0u, 1u, 3u, 4094u, 4095u}) {
            std::uint8_t* buffer = aligned + place;
            for (unsigned i = 0; i < page; ++i)
                buffer[i] = static_cast<std::uint8_t>(7 * i / 5 + 1);
            Bindings bindings;
            bindings.buffers[0] = reinterpret_cast<std::byte*>(buffer);
            compiled->run(bindings, {20, 1, 1}, {1, 1, 1});
            for (unsigned x = 0; x < 20; ++x) {
                const std::uint8_t* own = buffer + std::size_t{32} * x;
                std::uint32_t found = 0;
                std::memcpy(&found, own + 8, sizeof found);
                EXPECT_EQ(found, own[0] + (bits == 8 ? 0u : 256u * own[1]))
                    << type << " of thread " << x << " at " << place;
            }
        }
    }
}

TEST(GridTests, NarrowNumbersAreReadUpToTheEndOfMemory) {
    // Thread x reads the number that is x numbers before the last one of the page, which nothing
    // follows.
    for (const std::uint32_t bytes : {1u, 2u}) {
        const std::string type = "i" + std::to_string(8 * bytes);
        const auto compiled = tests::compile(tests::makeProgram(
            "define spir_func void @k(ptr %in, ptr %out, i32 %x) {\n%f = freeze i32 %x\n%at = sub "
            "i32 " +
                std::to_string(4096 / bytes - 1) + ", %f\n%p = getelementptr " + type +
                ", ptr %in, i32 %at\n%n = load " + type + ", ptr %p\n%e = zext " + type +
                " %n to i32\n%r = getelementptr i32, ptr %out, i32 %x\n"
                "store i32 %e, ptr %r\nret void\n}\n",
            {tests::buffer(0), tests::buffer(1),
             tests::attribute(ParameterKind::ThreadPositionInGrid)}));
        const auto memory = memory::GuardedMemory::allocate(4096);
        ASSERT_TRUE(compiled && memory);
        std::vector<std::uint32_t> out(40);
        Bindings bindings = tests::bind(out, out);
        bindings.buffers[0] = (*memory)->data();
        for (unsigned i = 0; i < 4096; ++i)
            bindings.buffers[0][i] = static_cast<std::byte>(7 * i / 5 + 1);
        compiled->run(bindings, {40, 1, 1}, {1, 1, 1});
        for (std::uint32_t x = 0; x < 40; ++x) {
            std::uint32_t expected = 0;
            std::memcpy(&expected, bindings.buffers[0] + 4096 - bytes * (x + 1), bytes);
            EXPECT_EQ(out[x], expected) << type << " of thread " << x;
        }
    }
}

/// Each thread adds its number to the square of the first number of the buffer, which is hoisted,
/// and stores the sum behind that.
std::shared_ptr<Kernel> compileAdditionToSquare() {
    return tests::compile(tests::makeOneDimensional(R"(
        %number = load i32, ptr %out
        %square = mul i32 %number, %number
        %value = add i32 %square, %x
        %after = getelementptr i32, ptr %out, i32 1
        %place = getelementptr i32, ptr %after, i32 %x
        store i32 %value, ptr %place
        ret void)"));
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
