// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The pipeline as a whole: what it refuses, what it leaves behind, how its time grows.
#include "compute/kernel/pipeline/Canonical.h"

#include "compute/kernel/Dump.h"
#include "compute/kernel/pipeline/ExtractKernel.h"
#include "compute/kernel/pipeline/Passes.h"
#include "compute/target/HostTarget.h"
#include "tests/ScratchFolder.h"
#include "tests/compute/kernel/ProgramText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <ctime>
#include <filesystem>
#include <limits>
#include <string>
#include <thread>

namespace {

using namespace compute;
using namespace compute::kernel;

class CanonicalTests : public testing::Test {
protected:
    static platform::Result<CanonicalKernel>
    canonicalise(const Program& program, const ConstantValues& values, const Dump* dump = nullptr) {
        return kernel::canonicalise(program, "k", values, *tests::hostTarget().takeMachine(), {},
                                    dump);
    }
};

TEST_F(CanonicalTests, SeveralThreadsTakeKernelsFromOneProgram) {
    Program program = tests::makeOneDimensional(R"(
        %value = call spir_func float @twice(float 2.0)
        store float %value, ptr %out
        ret void)",
                                                R"(
        define spir_func float @twice(float %v) { %r = fadd float %v, %v ret float %r })");
    keepBitcode(program);
    constexpr unsigned times = 50;
    std::atomic<unsigned> extracted = 0;
    {
        std::array<std::jthread, 4> threads;
        for (std::jthread& thread : threads)
            thread = std::jthread([&] {
                for (unsigned i = 0; i < times; ++i)
                    extracted += extractKernel(program, program.kernels.front()) ? 1 : 0;
            });
    }
    EXPECT_EQ(extracted, 4 * times);
}

TEST_F(CanonicalTests, ConstantsAreCheckedByNameAndType) {
    Program program =
        tests::makeOneDimensional("%v = load i32, ptr @mode store i32 %v, ptr %out ret void",
                                  "@mode = external constant i32");
    program.constants = {{.name = "mode", .symbol = "mode", .index = 2, .type = DataType::Int}};
    const auto messageOf = [&](const ConstantValues& values) {
        auto checked = checkFunction(program, "k", values);
        auto made = canonicalise(program, values);
        EXPECT_EQ(checked.hasValue(), made.hasValue());
        return checked ? std::string() : checked.error().message;
    };
    EXPECT_EQ(messageOf({}), "function constant 'mode' [[function_constant(2)]] has no value");
    EXPECT_EQ(messageOf({{2, {.type = DataType::Float}}}),
              "function constant 'mode' [[function_constant(2)]] is declared int but its value is "
              "float");
    EXPECT_EQ(messageOf({{2, {.type = DataType::Int}}, {9, {.type = DataType::Bool}}}), "");
}

TEST_F(CanonicalTests, KernelsThatCannotRunAreRefused) {
    Program program = tests::makeOneDimensional("ret void");
    EXPECT_FALSE(checkFunction(program, "absent", {}));
    program.kernels[0].unsupported = "barriers are missing";
    auto refused = canonicalise(program, {});
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().message, "kernel 'k': barriers are missing");

    const Program large = tests::makeOneDimensional(R"(
        %a = alloca [2000000 x i8]
        %p = getelementptr i8, ptr %a, i32 %x
        store volatile i8 1, ptr %p
        ret void)");
    auto tooLarge = canonicalise(large, {});
    ASSERT_FALSE(tooLarge);
    EXPECT_NE(tooLarge.error().message.find("1048576 bytes"), std::string::npos);

    const Program sampler =
        tests::makeProgram("define spir_func void @k(ptr byval({ ptr }) %s) { ret void }",
                           {{.name = "s", .kind = ParameterKind::Sampler, .index = maxSamplers}});
    EXPECT_FALSE(canonicalise(sampler, {}));
}

TEST_F(CanonicalTests, TheDumpHasOneFileAPass) {
    const ::tests::ScratchFolder folder;
    auto dump = Dump::create(folder.path(""));
    ASSERT_TRUE(dump);
    ASSERT_TRUE(canonicalise(tests::makeOneDimensional("ret void"), {}, &*dump));
    std::size_t files = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder.path("")))
        files += file.file_size() > 0;
    EXPECT_EQ(files, passes().size() + 1);
    EXPECT_TRUE(std::filesystem::exists(folder.path("k.06-simplifyFunctions.ll")));
    EXPECT_FALSE(Dump::create("/nowhere"));
}

/// `count` sequences of arithmetic, a branch and array accesses, one after the other.
Program makeLong(unsigned count) {
    const std::string sequences = tests::repeated(R"(
        %i# = mul i32 %x, $
        %p# = getelementptr [64 x float], ptr %a, i32 0, i32 %i#
        %v# = load float, ptr %p#
        %w# = fadd float %v#, $.0
        store float %w#, ptr %p#
        %c# = fcmp ogt float %w#, 3.0
        br i1 %c#, label %t#, label %b$
    t#:
        store float %w#, ptr %out
        br label %b$
    b$:
    )",
                                                  count);
    return tests::makeOneDimensional("%a = alloca [64 x float]\nbr label %b0\nb0:\n" + sequences +
                                     "ret void");
}

/// Of this thread, so that a busy machine does not matter.
std::clock_t processorTime() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * 1'000'000 + time.tv_nsec / 1000;
}

TEST_F(CanonicalTests, TimeGrowsWithTheProgramAndNoFaster) {
    const auto fastest = [](unsigned count) {
        const Program program = makeLong(count);
        auto best = std::numeric_limits<std::clock_t>::max();
        for (int i = 0; i < 5; ++i) {
            const auto start = processorTime();
            EXPECT_TRUE(canonicalise(program, {}));
            best = std::min(best, processorTime() - start);
        }
        return best;
    };
    // Eight times the program in less than twice eight times the time; a square law would need 64.
    EXPECT_LT(fastest(1600), 16 * fastest(200));
}

} // namespace
