// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Large kernels: functions that are called instead of copied, and values that live long.
#include "compute/kernel/pipeline/Canonical.h"
#include "compute/target/HostTarget.h"
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>
#include <llvm/IR/Verifier.h>
#include <llvm/Support/raw_ostream.h>

#include <algorithm>
#include <cstdlib>

namespace {

using namespace compute;

/// Work on %NAME0 that nothing simplifies; ends in %NAME70.
std::string longWork(const std::string& name) {
    std::string text;
    for (int i = 0; i < 70; ++i) {
        const std::string from = name + std::to_string(i);
        text += "%" + name + std::to_string(i + 1);
        text += i % 2 == 0 ? " = xor i32 %" : " = mul i32 %";
        text += from + ", " + std::to_string(3 + 2 * i) + "\n";
    }
    return text;
}

/// Calls @step four times: for all threads, for some, in a loop, with the same for all threads.
const char* calls = R"(
    %m = alloca { i32, ptr, i32 }
    %pair = alloca { i32, i32 }
    %place = getelementptr i8, ptr %m, i64 8
    %count = getelementptr i8, ptr %m, i64 16
    %second = getelementptr i8, ptr %pair, i64 4
    store i32 %x, ptr %m
    store ptr %out, ptr %place
    store i32 0, ptr %count
    store i32 5, ptr %pair
    store i32 %x, ptr %second
    %a = call i32 @step(ptr %m, ptr byval({ i32, i32 }) %pair, i32 1)
    %odd = and i32 %x, 3
    %isOdd = icmp ne i32 %odd, 0
    br i1 %isOdd, label %some, label %all
some:
    %b = call i32 @step(ptr %m, ptr byval({ i32, i32 }) %pair, i32 %a)
    br label %all
all:
    %i = phi i32 [ 0, %0 ], [ %b, %some ], [ %next, %all ]
    %c = call i32 @step(ptr %m, ptr byval({ i32, i32 }) %pair, i32 %i)
    %next = add i32 %i, 1
    %low = and i32 %next, 7
    %more = icmp ne i32 %low, 0
    br i1 %more, label %all, label %end
end:
    %same = alloca { i32, ptr, i32 }
    %sameCount = getelementptr i8, ptr %same, i64 16
    store i32 9, ptr %same
    store i32 0, ptr %sameCount
    %d = call i32 @step(ptr %same, ptr byval({ i32, i32 }) %pair, i32 3)
    %state = load i32, ptr %m
    %steps = load i32, ptr %count
    %both = add i32 %state, %steps
    %sum = add i32 %both, %d
    %p = getelementptr i32, ptr %out, i32 %x
    %old = load i32, ptr %p
    %new = add i32 %old, %sum
    store i32 %new, ptr %p
    ret void)";

/// Returns early for some threads; loops a while, different for each; writes to the buffer that the
/// machine points to, if it does; changes the machine and its own copy of the pair.
std::string stepFunction() {
    return R"(
    define i32 @step(ptr %m, ptr byval({ i32, i32 }) %pair, i32 %n) {
        %count = getelementptr i8, ptr %m, i64 16
        %old = load i32, ptr %count
        %more = add i32 %old, 1
        store i32 %more, ptr %count
        %v0 = load i32, ptr %m
        %second = getelementptr i8, ptr %pair, i64 4
        %limit = load i32, ptr %second
        store i32 77, ptr %second
    )" + longWork("v") +
           R"(
        %low = and i32 %v70, 7
        %early = icmp eq i32 %low, 3
        br i1 %early, label %leave, label %loop
    leave:
        ret i32 %n
    loop:
        %i = phi i32 [ 0, %0 ], [ %next, %loop ]
        %s = phi i32 [ %v70, %0 ], [ %t, %loop ]
        %t = add i32 %s, %i
        %next = add i32 %i, 1
        %five = and i32 %limit, 15
        %again = icmp ult i32 %next, %five
        br i1 %again, label %loop, label %done
    done:
        store i32 %t, ptr %m
        %r = add i32 %t, %n
        ret i32 %r
    })";
}

unsigned functionsOf(const kernel::Program& program, const kernel::CompilerOptions& options) {
    auto canonical =
        kernel::canonicalise(program, "k", {}, *tests::hostTarget().takeMachine(), options);
    EXPECT_TRUE(canonical) << canonical.error().message;
    if (!canonical)
        return 0;
    EXPECT_FALSE(llvm::verifyModule(*canonical->module, &llvm::errs()));
    return static_cast<unsigned>(
        std::ranges::count_if(*canonical->module, [](const llvm::Function& function) {
            return !function.isDeclaration();
        }));
}

/// Runs a kernel that calls one function, as it is and with the function copied.
void expectSameWhenShared(const std::string& body, const std::string& function) {
    const auto results = [&](double shareAbove, unsigned functions) {
        const kernel::CompilerOptions options{.shareAbove = shareAbove};
        const kernel::Program program = tests::makeOneDimensional(body, function);
        EXPECT_EQ(functionsOf(program, options), functions);
        const auto compiled = tests::compile(program, {}, options);
        std::vector<std::uint32_t> out(103, 1);
        if (compiled)
            compiled->run(tests::bind(out), {101, 1, 1}, {1, 1, 1});
        return out;
    };
    EXPECT_EQ(results(0, 2), results(1'000'000, 1));
}

TEST(SharedFunctionTests, CallsDoWhatCopiesDo) {
    expectSameWhenShared(calls, stepFunction());
}

struct SharingCase {
    const char* label;
    const char* arguments; ///< of each call; %m and %n are variables
    const char* access;    ///< makes %v0 from the parameters %p and %q
    unsigned functions;
};

TEST(SharedFunctionTests, OnlyWhatIsPassedValuesIsShared) {
    const SharingCase cases[] = {
        {"fixed offsets", "ptr %m, ptr %n", "%v0 = load i32, ptr %p store i32 1, ptr %q", 2},
        {"a copy", "ptr %m, ptr %n",
         "call void @llvm.memcpy.p0.p0.i64(ptr %q, ptr %p, i64 12, i1 false) "
         "%v0 = load i32, ptr %q",
         2},
        {"memory outside", "ptr %m, ptr %out",
         "%v0 = load i32, ptr %p %e = getelementptr i32, ptr %q, i32 %v0 store i32 1, ptr %e", 2},
        {"an index", "ptr %m, ptr %n",
         "%i = load i32, ptr %q %e = getelementptr [4 x i32], ptr %p, i32 0, i32 %i "
         "%v0 = load i32, ptr %e",
         1},
        {"one variable twice", "ptr %m, ptr %m", "%v0 = load i32, ptr %p store i32 1, ptr %q", 1},
        {"an address that gets away", "ptr %m, ptr %n",
         "%v0 = load i32, ptr %p store ptr %p, ptr %q", 1},
        {"an atomic", "ptr %m, ptr %out",
         "%v0 = load i32, ptr %p %o = atomicrmw add ptr %q, i32 1 monotonic", 1},
    };
    for (const SharingCase& row : cases) {
        std::string body = "%m = alloca [4 x i32] %n = alloca [4 x i32] store i32 %x, ptr %m "
                           "store i32 %x, ptr %n\n";
        for (int i = 0; i < 4; ++i)
            body += "%r" + std::to_string(i) + " = call i32 @work(" + row.arguments +
                    ") store volatile i32 %r" + std::to_string(i) + ", ptr %out\n";
        const std::string function =
            std::string("declare void @llvm.memcpy.p0.p0.i64(ptr, ptr, i64, i1)\n"
                        "define i32 @work(ptr %p, ptr %q) {\n") +
            row.access + "\n" + longWork("v") + "ret i32 %v70 }";
        EXPECT_EQ(
            functionsOf(tests::makeOneDimensional(body + "ret void", function), {.shareAbove = 0}),
            row.functions)
            << row.label;
    }
}

TEST(SharedFunctionTests, TheQuestionWhetherThereIsWorkIsCopied) {
    // What is read at an index keeps a whole function from being shared, so it comes first.
    const std::string function = R"(
    define void @draw(ptr %m, ptr %letters, i32 %k) {
        %second = getelementptr [4 x i32], ptr %m, i32 0, i32 1
        %unused = alloca i32
        %n = load i32, ptr %second
        %none = icmp ugt i32 %n, %k
        br i1 %none, label %end, label %more
    more:
        %i = and i32 %k, 3
        %e = getelementptr [4 x i32], ptr %letters, i32 0, i32 %i
        %letter = load i32, ptr %e
        store i32 %letter, ptr %unused
        %old = load i32, ptr %m
        %v0 = add i32 %old, %letter
    )" + longWork("v") + R"(
        %again = load i32, ptr %unused
        %sum = add i32 %v70, %again
        store i32 %sum, ptr %m
        br label %end
    end:
        ret void
    })";
    std::string body = R"(
        %m = alloca [4 x i32]
        %letters = alloca [4 x i32]
        %third = getelementptr [4 x i32], ptr %letters, i32 0, i32 2
        %second = getelementptr [4 x i32], ptr %m, i32 0, i32 1
        store i32 %x, ptr %m
        store i32 %x, ptr %second
        store i32 41, ptr %letters
        store i32 %x, ptr %third
    )";
    for (int i = 0; i < 9; ++i)
        body += "call void @draw(ptr %m, ptr %letters, i32 " + std::to_string(9 * i) + ")\n";
    body += "%r = load i32, ptr %m %p = getelementptr i32, ptr %out, i32 %x "
            "store i32 %r, ptr %p ret void";
    expectSameWhenShared(body, function);
}

class LongLifeTests : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(, LongLifeTests, testing::Values("load", "load volatile"));

TEST_P(LongLifeTests, ValuesThatLiveThroughManyBlocksKeepTheirContent) {
    // Every block uses numbers and conditions that the first one made for all; some of them are the
    // same for all threads, and made once for all when they come from a load that may be moved.
    constexpr unsigned rounds = 300;
    const std::string values = tests::repeated(R"(
        %v# = mul i32 %x, $
        %c# = icmp ult i32 %v#, 1000
        %u# = mul i32 %y, $
        %d# = icmp ugt i32 %u#, 900
    )",
                                               rounds);
    const std::string blocks = tests::repeated(R"(
        br i1 %c#, label %t#, label %b$
    t#:
        %a# = add i32 %s#, %v#
        %e# = select i1 %d#, i32 %u#, i32 1
        %f# = add i32 %a#, %e#
        store volatile i32 %f#, ptr %p
        br label %b$
    b$:
        %s$ = phi i32 [ %s#, %b# ], [ %f#, %t# ]
    )",
                                               rounds);
    const std::string start = R"(
        br label %entry
    entry:
        %p = getelementptr i32, ptr %out, i32 %x
        %beyond = getelementptr i32, ptr %out, i32 60
        %y = )" + std::string(GetParam()) +
                              " i32, ptr %beyond\n";
    const auto compiled = tests::compile(tests::makeOneDimensional(
        start + values + "br label %b0\nb0:\n%s0 = phi i32 [ 0, %entry ]\n" + blocks +
        "store i32 %s" + std::to_string(rounds) + ", ptr %p\nret void"));
    ASSERT_TRUE(compiled);
    constexpr std::uint32_t y = 7;
    std::vector<std::uint32_t> out(100, y);
    compiled->run(tests::bind(out), {50, 1, 1}, {1, 1, 1});
    for (std::uint32_t x = 1; x < 50; ++x) {
        std::uint32_t sum = 0;
        for (std::uint32_t i = 1; i <= rounds; ++i)
            if (x * i < 1000)
                sum += x * i + (y * i > 900 ? y * i : 1);
        EXPECT_EQ(out[x], sum) << x;
    }
}

} // namespace
