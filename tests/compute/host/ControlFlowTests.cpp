// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which threads run which code around loops that are left in several ways.
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t threads = 40;

/// Runs a body that reads `%a` and `%b`, and its own `%count` and `%after`, the addresses of two
/// zeros for each thread.
std::vector<std::uint32_t> runForEachThread(const std::string& body, std::uint32_t a,
                                            std::uint32_t b) {
    const auto compiled = tests::compile(tests::makeOneDimensional(R"(
        %second = getelementptr i32, ptr %out, i32 1
        %a = load i32, ptr %out
        %b = load i32, ptr %second
        %own = add i32 %x, 1
        %count = getelementptr [2 x i32], ptr %out, i32 %own, i32 0
        %after = getelementptr [2 x i32], ptr %out, i32 %own, i32 1
        %turn = urem i32 %x, 7
    )" + body));
    std::vector<std::uint32_t> out(2 * (threads + 1));
    out[0] = a;
    out[1] = b;
    if (compiled)
        compiled->run(tests::bind(out), {threads, 1, 1}, {1, 1, 1});
    return out;
}

TEST(ControlFlowTests, ThreadsThatBreakSkipTheRestOfTheLoopAndNothingBehindIt) {
    // The loop counts to %a. A thread breaks before its counter goes up, in iteration %turn: from
    // the loop's own level, or from within an if. Code behind the loop runs for all threads.
    const auto loop = [](const char* exit) {
        return std::string(R"(
            br label %head
        head:
            %i = phi i32 [ 0, %0 ], [ %next, %back ]
            %c = icmp ult i32 %i, %a
            br i1 %c, label %body, label %left
        body:
            %is.now = icmp eq i32 %i, %turn
        )") + exit +
               R"(
        rest:
            %old = load i32, ptr %count
            %new = add i32 %old, 1
            store i32 %new, ptr %count
            br label %back
        back:
            %next = add i32 %i, 1
            br label %head
        left:
            %seen = load i32, ptr %after
            %sum = add i32 %seen, 100
            %last = add i32 %sum, %i
            store i32 %last, ptr %after
            ret void)";
    };
    const char* open = "br i1 %is.now, label %left, label %rest";
    const char* nested = R"(
            %third = urem i32 %x, 3
            %some = icmp ne i32 %third, 0
            br i1 %some, label %inner, label %rest
        inner:
            br i1 %is.now, label %left, label %rest)";
    for (const bool isNested : {false, true})
        for (const std::uint32_t limit : {4u, 9u}) {
            const auto out = runForEachThread(loop(isNested ? nested : open), limit, 0);
            for (std::uint32_t x = 0; x < threads; ++x) {
                const bool mayBreak = !isNested || x % 3 != 0;
                const std::uint32_t iterations = mayBreak ? std::min(x % 7, limit) : limit;
                EXPECT_EQ(out[2 * x + 2], iterations) << x << " of " << limit << isNested;
                EXPECT_EQ(out[2 * x + 3], 100 + iterations) << x << " of " << limit << isNested;
            }
        }
}

TEST(ControlFlowTests, CodeThatNoThreadReachesBringsNothingToWhereItEnds) {
    // All threads leave the loop at once, in one of two ways. What follows each is short, so that
    // it runs with an empty mask as well, and ends where the other does. The compiler cannot tell
    // beforehand which of two numbers comes first.
    const char* body = R"(
        br label %head
    head:
        %i = phi i32 [ 0, %0 ], [ %next, %back ]
        %is.a = icmp eq i32 %i, %a
        br i1 %is.a, label %first, label %body
    body:
        %is.b = icmp eq i32 %i, %b
        br i1 %is.b, label %other, label %back
    back:
        %five = mul i32 %i, 5
        %three = add i32 %five, 3
        %next = and i32 %three, 15
        br label %head
    first:
        %tripled = mul i32 %i, 3
        br label %joined
    other:
        %squared = mul i32 %i, %i
        br label %joined
    joined:
        %r = phi i32 [ %tripled, %first ], [ %squared, %other ]
        %s = add i32 %r, %x
        store i32 %s, ptr %after
        ret void)";
    const auto byFirst = runForEachThread(body, 4, 8);
    const auto byOther = runForEachThread(body, 8, 4);
    for (std::uint32_t x = 0; x < threads; ++x) {
        EXPECT_EQ(byFirst[2 * x + 3], 12 + x);
        EXPECT_EQ(byOther[2 * x + 3], 16 + x);
    }
}

} // namespace
