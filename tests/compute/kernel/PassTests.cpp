// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Single passes on small functions: what each one must have changed, and must not have.
#include "compute/kernel/Verification.h"
#include "compute/kernel/pipeline/ExtractKernel.h"
#include "tests/compute/kernel/PassBench.h"

#include <gtest/gtest.h>
#include <llvm/Analysis/CycleAnalysis.h>
#include <llvm/Analysis/LoopInfo.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/Verifier.h>
#include <llvm/Support/raw_ostream.h>

#include <set>

namespace {

using namespace compute;
using namespace compute::kernel;
using tests::contains;
using tests::PassBench;

TEST(PassTests, AdoptHostTargetForgetsPromises) {
    PassBench bench(tests::makeOneDimensional(R"(
        %p = getelementptr inbounds float, ptr %out, i32 %x
        %v = load i32, ptr %p, align 64, !range !0
        %n = fadd nnan ninf contract float 1.0, 2.0
        %w = add nsw i32 %x, 1
        %r = call spir_func noundef nonnull ptr @f(ptr noundef nonnull align 16 %p)
        br label %loop
    loop:
        br label %loop, !llvm.loop !1
    )",
                                              R"(
        declare spir_func noundef ptr @f(ptr noundef dereferenceable(64))
        !0 = !{i32 0, i32 2}
        !1 = distinct !{!1, !2, !3}
        !2 = !{!"llvm.loop.mustprogress"}
        !3 = !{!"llvm.loop.unroll.full"})"));
    ASSERT_EQ(bench.run({"bindParameters", "adoptTarget"}), "");
    const std::string text = bench.text();
    for (const char* promise : {"inbounds", "align 64", "!range", "nnan", "ninf", "nsw", "noundef",
                                "nonnull", "dereferenceable", "mustprogress", "spir"})
        EXPECT_FALSE(contains(text, promise)) << promise << "\n" << text;
    EXPECT_TRUE(contains(text, "contract")) << "fast math is the language's own";
    EXPECT_TRUE(contains(text, "llvm.loop.unroll.full")) << "a hint is no promise";
    EXPECT_TRUE(contains(text, "x86_64") || contains(text, "aarch64"));
}

TEST(PassTests, ThePassThatBreaksTheCodeIsNamed) {
    PassBench bench(tests::makeOneDimensional("store i32 %x, ptr %out ret void"));
    ASSERT_EQ(bench.run({"bindParameters"}), "");
    CompilerOptions options{.verifies = true};
    EXPECT_TRUE(verifyAfter("bindParameters", bench.module(), options));
    bench.entry().getEntryBlock().getTerminator()->eraseFromParent();
    const auto broken = verifyAfter("loseTheEnd", bench.module(), options);
    ASSERT_FALSE(broken);
    EXPECT_TRUE(broken.error().message.starts_with("the pass 'loseTheEnd' broke the code: "))
        << broken.error().message;
    options.verifies = false;
    EXPECT_TRUE(verifyAfter("loseTheEnd", bench.module(), options));
}

TEST(PassTests, WhatConstantsMakeDeadIsNotInlined) {
    // The mode reaches @pick as an argument, and @missing is called in a branch that it excludes.
    PassBench bench(tests::makeOneDimensional(R"(
        %a = call spir_func i32 @pick(ptr @mode, i32 %x)
        %b = call spir_func i32 @pick(ptr @mode, i32 %a)
        store i32 %b, ptr %out
        ret void)",
                                              R"(
        @mode = internal constant i32 1
        declare spir_func i32 @missing(i32)
        define spir_func i32 @pick(ptr %mode, i32 %v) {
            %m = load i32, ptr %mode
            %c = icmp eq i32 %m, 1
            br i1 %c, label %one, label %other
        one:
            %r = add i32 %v, 1
            ret i32 %r
        other:
            %n = call spir_func i32 @missing(i32 %v)
            ret i32 %n
        })"));
    ASSERT_EQ(bench.runThrough("eliminateArguments"), "");
    EXPECT_EQ(bench.entry().size(), 1u) << bench.text();
}

struct RefusalCase {
    const char* label;
    const char* body;
    const char* declarations;
    const char* message;
};

TEST(PassTests, WhatCannotBeInlinedIsNamed) {
    const RefusalCase cases[] = {
        {"undefined", "call void @_Z5sparkv() ret void", "declare void @_Z5sparkv()",
         "function 'spark' is not defined"},
        {"recursion", "call void @_Z4loopv() ret void",
         "define void @_Z4loopv() { call void @_Z4loopv() ret void }",
         "function 'loop' calls itself"},
        {"mutual recursion", "call void @a() ret void",
         "define void @a() { call void @b() ret void } define void @b() { call void @a() ret void "
         "}",
         "function 'a' calls itself"},
    };
    for (const RefusalCase& row : cases) {
        PassBench bench(tests::makeOneDimensional(row.body, row.declarations));
        EXPECT_EQ(bench.runThrough("eliminateArguments"), row.message) << row.label;
    }
}

TEST(PassTests, ExponentialGrowthIsRefusedInGoodTime) {
    // Each function calls the next one four times: 4^20 copies of the last.
    std::string declarations = "@sink = external global i32\n"
                               "define void @f20(ptr %p) { %v = load volatile i32, ptr %p "
                               "store volatile i32 %v, ptr %p ret void }\n";
    for (int i = 19; i >= 0; --i) {
        declarations += "define void @f" + std::to_string(i) + "(ptr %p) {\n";
        for (int call = 0; call < 4; ++call)
            declarations += "call void @f" + std::to_string(i + 1) + "(ptr %p)\n";
        declarations += "ret void }\n";
    }
    PassBench bench(tests::makeOneDimensional("call void @f0(ptr %out) ret void", declarations));
    EXPECT_TRUE(contains(bench.runThrough("eliminateArguments"), "is too large"));
}

TEST(PassTests, FoldInitialisersEvaluatesOrNamesTheVariable) {
    const auto declarations = [](const char* value) {
        return std::string(R"(
        @_ZL5scale = internal global float 0.0
        @_ZL5other = internal global float 0.0
        @llvm.global_ctors = appending global [1 x { i32, ptr, ptr }]
            [{ i32, ptr, ptr } { i32 65535, ptr @_GLOBAL__sub_I, ptr null }]
        define internal float @half(float %v) { %r = fmul float %v, 0.5 ret float %r }
        define internal void @init() {
            %v = alloca float
            )") +
               value + R"(
            store float %a, ptr %v
            %b = load float, ptr %v
            %c = call float @half(float %b)
            store float %c, ptr @_ZL5scale
            %d = load float, ptr @_ZL5scale
            store float %d, ptr @_ZL5other
            ret void
        }
        define internal void @_GLOBAL__sub_I() { call void @init() ret void }
        declare float @llvm.sin.f32(float)
        @mystery = external constant float)";
    };
    const char* body = "%v = load float, ptr @_ZL5scale store float %v, ptr %out ret void";
    PassBench bench(tests::makeOneDimensional(body, declarations("%a = fadd float 3.0, 5.0")));
    ASSERT_EQ(bench.runThrough("eliminateArguments"), "");
    ASSERT_EQ(bench.run({"foldInitialisers", "promote"}), "");
    EXPECT_TRUE(contains(bench.text(), "store float 4.000000e+00")) << bench.text();

    PassBench wrong(tests::makeOneDimensional(body, declarations("%a = load float, ptr @mystery")));
    ASSERT_EQ(wrong.runThrough("eliminateArguments"), "");
    EXPECT_EQ(wrong.run({"foldInitialisers"}),
              "initializer of 'scale' is not a constant expression");
}

TEST(PassTests, VariablesOfTheProgramCannotBeWritten) {
    PassBench bench(tests::makeOneDimensional("store i32 1, ptr @count ret void",
                                              "@count = internal global i32 0"));
    ASSERT_EQ(bench.runThrough("eliminateArguments"), "");
    EXPECT_TRUE(contains(bench.run({"foldInitialisers"}), "'count' is written to"));
}

TEST(PassTests, ControlFlowTakesTheCanonicalShape) {
    // A switch, a loop with two entries, and two returns.
    PassBench bench(tests::makeOneDimensional(R"(
        switch i32 %x, label %leave [ i32 0, label %a
                                      i32 1, label %b
                                      i32 5, label %b ]
    a:
        store volatile i32 1, ptr %out
        br label %b
    b:
        %c = load volatile i32, ptr %out
        %t = trunc i32 %c to i1
        br i1 %t, label %a, label %done
    done:
        store volatile i32 2, ptr %out
        ret void
    leave:
        ret void)"));
    ASSERT_EQ(bench.runThrough("shapeControlFlow"), "");
    unsigned returns = 0;
    for (llvm::Instruction& instruction : llvm::instructions(bench.entry())) {
        EXPECT_FALSE(llvm::isa<llvm::SwitchInst>(instruction));
        returns += llvm::isa<llvm::ReturnInst>(instruction);
    }
    EXPECT_EQ(returns, 1u);
    bench.analyses().invalidate(bench.entry(), llvm::PreservedAnalyses::none());
    for (const llvm::Cycle* cycle :
         bench.analyses().getResult<llvm::CycleAnalysis>(bench.entry()).toplevel_cycles())
        EXPECT_TRUE(cycle->isReducible());
    const auto& loops = bench.analyses().getResult<llvm::LoopAnalysis>(bench.entry());
    EXPECT_FALSE(loops.empty());
    for (const llvm::Loop* loop : loops)
        EXPECT_TRUE(loop->isLoopSimplifyForm());
}

// A default that no value leads to is gone, and not left as a block that ends nowhere.
TEST(PassTests, ASwitchWithADeadDefaultLeavesNothingBehind) {
    PassBench bench(tests::makeOneDimensional(R"(
        br label %loop
    loop:
        %i = phi i32 [ 0, %0 ], [ %next, %end ]
        switch i32 %i, label %never [ i32 0, label %some
                                      i32 1, label %some
                                      i32 2, label %some
                                      i32 3, label %some ]
    never:
        store volatile i32 1, ptr %out
        br label %end
    some:
        store volatile i32 2, ptr %out
        br label %end
    end:
        %next = add nuw nsw i32 %i, 1
        %more = icmp ult i32 %i, 3
        br i1 %more, label %loop, label %leave
    leave:
        ret void)"));
    ASSERT_EQ(bench.run({"bindParameters", "adoptTarget", "inlineCalls", "shapeControlFlow"}), "");
    for (llvm::BasicBlock& block : bench.entry())
        EXPECT_FALSE(llvm::isa<llvm::UnreachableInst>(block.getTerminator())) << bench.text();
}

TEST(PassTests, ExtractionTakesOnlyWhatTheKernelReaches) {
    const Program program = tests::makeOneDimensional("call void @used() ret void",
                                                      R"(
        @table = internal constant [1 x ptr] [ptr @reached]
        @other = internal constant i32 4
        define void @used() { %p = load ptr, ptr @table ret void }
        define void @reached() { ret void }
        define void @unused() { %v = load i32, ptr @other ret void })");
    auto extracted = extractKernel(program, program.kernels[0]);
    ASSERT_TRUE(extracted) << extracted.error().message;
    std::set<std::string> names;
    for (const llvm::GlobalValue& value : extracted->module->global_values())
        names.insert(value.getName().str());
    EXPECT_EQ(names, (std::set<std::string>{"k", "used", "reached", "table"}));
    EXPECT_FALSE(llvm::verifyModule(*extracted->module, &llvm::errs()));
}

/// A kernel that reads four bytes from `%out` on, does `between`, and writes them 64 bytes further,
/// `last` bytes after the third.
std::string copyOfBytes(const char* between, const char* last) {
    std::string text;
    for (const char* i : {"0", "1", "2", "3"}) {
        const std::string number = i;
        text += "%p" + number + " = getelementptr i8, ptr %out, i64 " + number + "\n";
        text += "%b" + number + " = load i8, ptr %p" + number + "\n";
        text += "%e" + number + " = zext i8 %b" + number + " to i32\n";
        text += "%s" + number + " = shl i32 %e" + number + ", " + std::to_string(8 * (i[0] - '0'));
        text += "\n" + std::string(number == "1" ? between : "") + "\n";
    }
    text += "%w1 = or i32 %s0, %s1\n%w2 = or i32 %w1, %s2\n%w = or i32 %w2, %s3\n";
    for (const char* i : {"0", "1", "2", "3"}) {
        const std::string number = i;
        text += "%h" + number + " = lshr i32 %w, " + std::to_string(8 * (i[0] - '0')) + "\n";
        text += "%c" + number + " = trunc i32 %h" + number + " to i8\n";
        text += "%q" + number + " = getelementptr i8, ptr %out, i64 6" +
                (number == "3" ? last : number) + "\n";
        text += "store i8 %c" + number + ", ptr %q" + number + "\n";
    }
    return text + "ret void";
}

TEST(PassTests, MergeBytesMakesWordsOfWhatLiesSideBySide) {
    const struct {
        const char* title;
        const char* between;
        const char* last;
        bool hasWordLoad;
        bool hasWordStore;
    } cases[] = {{"a word", "", "3", true, true},
                 {"a store in between", "store i8 0, ptr %out", "3", false, true},
                 {"a gap", "", "7", true, false}};
    for (const auto& one : cases) {
        PassBench bench(tests::makeOneDimensional(copyOfBytes(one.between, one.last)));
        ASSERT_EQ(
            bench.run({"bindParameters", "adoptTarget", "inlineCalls", "mergeBytes", "widenHalf"}),
            "");
        const std::string text = bench.text();
        EXPECT_EQ(contains(text, "load i32, ptr %"), one.hasWordLoad) << one.title << text;
        EXPECT_EQ(contains(text, "store i32 %"), one.hasWordStore) << one.title << text;
    }
}

// What cannot become float itself gets its operand rounded, also where its result is widened.
TEST(PassTests, WidenHalfKeepsOperandsOfHalfOperations) {
    PassBench bench(tests::makeOneDimensional(R"(
        %a = load half, ptr %out
        %b = fadd half %a, 1.0
        %c = call half @llvm.ldexp.f16.i32(half %b, i32 %x)
        %d = fadd half %c, 2.0
        store half %d, ptr %out
        ret void)",
                                              "declare half @llvm.ldexp.f16.i32(half, i32)"));
    ASSERT_EQ(bench.runThrough("eliminateArguments"), "");
    ASSERT_EQ(bench.run({"widenHalf"}), "");
    EXPECT_FALSE(contains(bench.text(), "poison")) << bench.text();
}

// Arithmetic and phis become float. What was computed is rounded once; what only chooses, or goes
// straight into a sum, is not.
TEST(PassTests, WidenHalfComputesInFloat) {
    PassBench bench(tests::makeOneDimensional(R"(
    entry:
        %a = load half, ptr %out
        %wide = uitofp i32 %x to float
        %b = fptrunc float %wide to half
        br label %loop
    loop:
        %sum = phi half [ %a, %entry ], [ %next, %loop ]
        %scaled = fmul contract half %sum, %b
        %product = fadd contract half %scaled, %b
        %next = call half @llvm.minnum.f16(half %product, half 4.0)
        %more = fcmp olt half %next, 2.0
        br i1 %more, label %loop, label %done
    done:
        %again = fpext half %next to float
        %p = getelementptr float, ptr %out, i32 1
        store float %again, ptr %p
        store half %next, ptr %out
        ret void)",
                                              "declare half @llvm.minnum.f16(half, half)"));
    ASSERT_EQ(bench.runThrough("eliminateArguments"), "");
    ASSERT_EQ(bench.run({"widenHalf"}), "");
    std::size_t roundings = 0;
    for (llvm::Instruction& instruction : llvm::instructions(bench.entry())) {
        const bool moves = llvm::isa<llvm::LoadInst, llvm::FPTruncInst>(instruction);
        EXPECT_TRUE(moves || !instruction.getType()->isHalfTy()) << bench.text();
        if (llvm::isa<llvm::FPTruncInst>(instruction))
            ++roundings;
        if (auto* store = llvm::dyn_cast<llvm::StoreInst>(&instruction);
            store != nullptr && store->getValueOperand()->getType()->isFloatTy()) {
            EXPECT_FALSE(llvm::isa<llvm::FPExtInst>(store->getValueOperand())) << bench.text();
        }
    }
    EXPECT_EQ(roundings, 3U) << "the program's own, the sum's, one for the store\n" << bench.text();
}

} // namespace
