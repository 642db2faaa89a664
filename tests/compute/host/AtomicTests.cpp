// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Atomics of many threads at one address. Any order of the threads would be right; they are made in
// that of their positions, so that every value is known.
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

constexpr std::uint32_t threads = 37;
constexpr std::size_t counter = 100; ///< its place among the words of 64 bits

/// The lower `bits` bits as a signed number.
std::int64_t asSigned(std::uint64_t value, unsigned bits) {
    return static_cast<std::int64_t>(value << (64 - bits)) >> (64 - bits);
}

struct Case {
    const char* operation;
    std::uint64_t (*apply)(std::uint64_t old, std::uint64_t value, unsigned bits);
};

const Case cases[] = {
    {"add", [](std::uint64_t a, std::uint64_t b, unsigned) { return a + b; }},
    {"sub", [](std::uint64_t a, std::uint64_t b, unsigned) { return a - b; }},
    {"and", [](std::uint64_t a, std::uint64_t b, unsigned) { return a & b; }},
    {"or", [](std::uint64_t a, std::uint64_t b, unsigned) { return a | b; }},
    {"xor", [](std::uint64_t a, std::uint64_t b, unsigned) { return a ^ b; }},
    {"xchg", [](std::uint64_t, std::uint64_t b, unsigned) { return b; }},
    {"umax", [](std::uint64_t a, std::uint64_t b, unsigned) { return std::max(a, b); }},
    {"umin", [](std::uint64_t a, std::uint64_t b, unsigned) { return std::min(a, b); }},
    {"max", [](std::uint64_t a, std::uint64_t b,
               unsigned bits) { return asSigned(a, bits) > asSigned(b, bits) ? a : b; }},
    {"min", [](std::uint64_t a, std::uint64_t b,
               unsigned bits) { return asSigned(a, bits) < asSigned(b, bits) ? a : b; }},
};

std::string kernelText(const std::string& operation, const std::string& type, bool usesResult) {
    const std::string result = usesResult ? "%old" : "%value";
    const bool isWide = type == "i64";
    const std::string narrowed =
        isWide ? "%value = add i64 %all, 0" : "%value = trunc i64 %all to i32";
    const std::string widened =
        isWide ? "%word = add i64 " + result + ", 0" : "%word = zext i32 " + result + " to i64";
    return R"(
        %spread = mul i32 %x, -1640531527
        %wide = sext i32 %spread to i64
        %steep = mul i64 %wide, 6364136223846793005
        %all = lshr i64 %steep, 7
        )" +
           narrowed +
           R"(
        %five = urem i32 %x, 5
        %takesPart = icmp ne i32 %five, 1
        %far = zext i32 %x to i64
        %place = getelementptr i64, ptr %out, i64 %far
        %counter = getelementptr i64, ptr %out, i64 100
        br i1 %takesPart, label %then, label %end
    then:
        %old = atomicrmw )" +
           operation + " ptr %counter, " + type + " %value monotonic\n" + widened + R"(
        store i64 %word, ptr %place
        br label %end
    end:
        ret void)";
}

TEST(AtomicTests, ThreadsAtOneAddressFindWhatThoseBeforeThemLeft) {
    for (const Case& one : cases)
        for (const unsigned bits : {32u, 64u})
            for (const bool usesResult : {false, true}) {
                const std::string type = "i" + std::to_string(bits);
                SCOPED_TRACE(one.operation + (" " + type) + (usesResult ? ", result used" : ""));
                const std::uint64_t mask = bits == 64 ? ~0ull : 0xFFFF'FFFFull;
                std::vector<std::uint64_t> out(counter + 1, 0);
                out[counter] = 0x1234'5678'9ABC'DEF0 & mask;
                std::vector<std::uint64_t> expected = out;
                for (std::uint32_t x = 0; x < threads; ++x) {
                    if (x % 5 == 1)
                        continue;
                    const auto wide =
                        static_cast<std::int64_t>(static_cast<std::int32_t>(x * 0x9E37'79B9u));
                    const std::uint64_t value =
                        static_cast<std::uint64_t>(wide) * 6364136223846793005u >> 7 & mask;
                    expected[x] = usesResult ? expected[counter] : value;
                    expected[counter] = one.apply(expected[counter], value, bits) & mask;
                }
                const auto compiled = tests::compile(
                    tests::makeOneDimensional(kernelText(one.operation, type, usesResult)));
                ASSERT_TRUE(compiled);
                compiled->run(tests::bind(out), {threads, 1, 1}, {1, 1, 1});
                EXPECT_EQ(out, expected);
            }
}

} // namespace
