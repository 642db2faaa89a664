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

/// Work on %v0 that nothing simplifies; ends in %v70.
std::string longWork() {
    std::string text;
    for (int i = 0; i < 70; ++i)
        text += "%v" + std::to_string(i + 1) + (i % 2 == 0 ? " = xor" : " = mul") + " i32 %v" +
                std::to_string(i) + ", " + std::to_string(3 + 2 * i) + "\n";
    return text;
}

/// The same in the language.
std::string longStatements() {
    std::string text;
    for (int i = 0; i < 35; ++i)
        text += "v = (v ^ " + std::to_string(3 + 4 * i) + ") * " + std::to_string(5 + 4 * i) + ";";
    return text;
}

/// Calls step() for all threads, for some, in a loop, and with the same for all threads. It returns
/// early for some; loops a while, different for each; changes the machine and its own copy of the
/// pair.
std::string stepping() {
    return R"(
        struct Machine { uint state; device uint* place; uint count; };
        struct Pair { uint five, limit; };
        uint step(thread Machine& m, Pair pair, uint n) {
            m.count += 1;
            uint v = m.state, limit = pair.limit, i = 0;
            pair.limit = 77;
        )" +
           longStatements() +
           R"(
            if ((v & 7) == 3)
                return n;
            do
                v += i++;
            while (i < (limit & 15));
            m.state = v;
            return v + n;
        }
        kernel void k(device uint* out, uint x [[thread_position_in_grid]]) {
            Machine m = {x, out, 0}, same = {9, out, 0};
            const Pair pair = {5, x};
            uint n = step(m, pair, 1);
            n = (x & 3) != 0 ? step(m, pair, n) : 0;
            do
                step(m, pair, n++);
            while ((n & 7) != 0);
            out[x] += step(same, pair, 3) + m.state + m.count;
        })";
}

unsigned functionsOf(const kernel::Program& program, const kernel::CompilerOptions& options) {
    auto canonical =
        kernel::canonicalise(program, "k", {}, *tests::hostTarget().takeMachine(), options);
    EXPECT_TRUE(canonical) << canonical.error().message;
    if (!canonical)
        return 0;
    bool isLineInformationWhole = true; // it need not be: compile units are not extracted
    EXPECT_FALSE(llvm::verifyModule(*canonical->module, &llvm::errs(), &isLineInformationWhole));
    return static_cast<unsigned>(
        std::ranges::count_if(*canonical->module, [](const llvm::Function& function) {
            return !function.isDeclaration();
        }));
}

/// Runs a kernel that calls one function, as it is and with the function copied.
void expectSameWhenShared(const kernel::Program& program) {
    const auto results = [&](double shareAbove, unsigned functions) {
        const kernel::CompilerOptions options{.shareAbove = shareAbove};
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
    expectSameWhenShared(tests::programOf(stepping()));
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
            row.access + "\n" + longWork() + "ret i32 %v70 }";
        EXPECT_EQ(
            functionsOf(tests::makeOneDimensional(body + "ret void", function), {.shareAbove = 0}),
            row.functions)
            << row.label;
    }
}

TEST(SharedFunctionTests, TheQuestionWhetherThereIsWorkIsCopied) {
    // What is read at an index keeps a whole function from being shared, so it comes first.
    std::string source = R"(
        void draw(thread uint* m, thread const uint* letters, uint k) {
            if (m[1] > k)
                return;
            const uint letter = letters[k & 3];
            uint v = m[0] + letter;
        )";
    for (int i = 0; i < 9; ++i)
        source += longStatements();
    source += R"(
            m[0] = v + letter;
        }
        kernel void k(device uint* out, uint x [[thread_position_in_grid]]) {
            uint m[4] = {x, x}, letters[4] = {41, 0, x};
        )";
    for (int i = 0; i < 9; ++i)
        source += "draw(m, letters, " + std::to_string(9 * i) + ");";
    const kernel::Program program = tests::programOf(source + "out[x] = m[0]; }");
    expectSameWhenShared(program);
    EXPECT_EQ(functionsOf(program, {}), 2u)
        << "it pays in kernels that share no whole functions yet";
}

TEST(LongLifeTests, ValuesThatLiveThroughManyBlocksKeepTheirContent) {
    // Every block uses numbers and conditions that the first one made for all; some of them are the
    // same for all threads, and made once for all when they come from a load that may be moved.
    constexpr unsigned rounds = 300;
    constexpr std::uint32_t y = 7;
    const std::string statements =
        tests::repeated("uint v# = x * $, u# = y * $; bool c# = v# < 1000, d# = u# > 900;\n",
                        rounds) +
        tests::repeated("if (c#) { s += v# + (d# ? u# : 1); *place = s; }\n", rounds);
    for (const std::string qualifier : {"", "volatile "}) {
        SCOPED_TRACE(qualifier);
        const auto compiled = tests::compile(tests::programOf(
            "kernel void k(device uint* out, uint x [[thread_position_in_grid]]) {\n"
            "volatile device uint* place = out + x; const uint y = *(" +
            qualifier + "device uint*)(out + 60); uint s = 0;\n" + statements + "out[x] = s; }"));
        ASSERT_TRUE(compiled);
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
}

} // namespace
