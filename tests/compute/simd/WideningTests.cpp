// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The code that the vectoriser makes: which instructions it finds for which access and branch. That
// they do what they should is for the tests that run kernels.
#include "compute/host/loop/ThreadLoop.h"
#include "tests/compute/simd/KernelText.h"

#include <gtest/gtest.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/Verifier.h>

namespace {

using namespace compute;
using tests::KernelText;

/// The tile function for sixteen lanes as text; the reason when there is none.
std::string widened(const std::string& body) {
    KernelText kernel(body);
    auto vectoriser = simd::Vectoriser::analyse(kernel.function(), kernel.analyses(), 16, {1, 1});
    if (!vectoriser)
        return vectoriser.error().message;
    host::addThreadLoop(kernel.function(), kernel.analyses(), vectoriser->get());
    std::string fault;
    llvm::raw_string_ostream stream(fault);
    return llvm::verifyModule(kernel.module(), &stream) ? fault : kernel.text();
}

struct Case {
    const char* title;
    const char* body;
    std::vector<const char*> present;
    std::vector<const char*> absent;
};

/// Loads the buffer and the place of the thread in an array of words.
const std::string place = R"(
        %out = load ptr, ptr %bindings
        %far = zext i32 %x to i64
        %place = getelementptr i32, ptr %out, i64 %far
)";

TEST(WideningTests, EachAccessGetsTheInstructionsThatFitIt) {
    const Case cases[] = {
        {"contiguous words",
         R"(%v = load i32, ptr %place
            store i32 %v, ptr %place)",
         {"masked.load.v16i32", "masked.store.v16i32"},
         {"gather", "scatter"}},
        {"a uniform word",
         R"(%v = load i32, ptr %out
            %w = add i32 %v, %x
            store i32 %w, ptr %place)",
         {"load i32, ptr"},
         {"gather", "masked.load"}},
        {"pixels of four components",
         R"(%p = getelementptr [4 x float], ptr %out, i64 %far
            %f = sitofp i32 %x to float
            %g = getelementptr i8, ptr %p, i64 4
            %b = getelementptr i8, ptr %p, i64 8
            %a = getelementptr i8, ptr %p, i64 12
            store float %f, ptr %p
            store float 0.0, ptr %g
            store float %f, ptr %b
            store float 1.0, ptr %a)",
         {"masked.store.v16i32", "shufflevector"},
         {"scatter"}},
        {"words anywhere",
         R"(%i = load i32, ptr %place
            %n = zext i32 %i to i64
            %q = getelementptr i32, ptr %out, i64 %n
            %v = load i32, ptr %q
            store i32 %v, ptr %q)",
         {"masked.gather.v16i32", "masked.scatter.v16i32"},
         {}},
        {"pixels whose places are only known at run time",
         R"(%i = load i32, ptr %place
            %n = zext i32 %i to i64
            %q = getelementptr [4 x half], ptr %out, i64 %n
            %g = getelementptr i8, ptr %q, i64 2
            store half 1.0, ptr %q
            store half 2.0, ptr %g)",
         {"contiguous:", "masked.store", "masked.scatter"},
         {}},
        {"words whose addresses were rounded and clamped",
         R"(%f = uitofp i32 %x to float
            %m = fadd float %f, 0.5
            %i = call i32 @llvm.fptosi.sat.i32.f32(float %m)
            %j = call i32 @llvm.smin.i32(i32 %i, i32 99)
            %n = sext i32 %j to i64
            %q = getelementptr i32, ptr %out, i64 %n
            %v = load i32, ptr %q
            store i32 %v, ptr %place)",
         {"strided:", "masked.load.v16i32", "masked.gather.v16i32"},
         {"fptosi.sat.v16i32"}},
        {"bytes that neighbours share",
         R"(%t = udiv i32 %x, 48
            %n = zext i32 %t to i64
            %q = getelementptr i8, ptr %out, i64 %n
            %v = load i8, ptr %q
            %w = zext i8 %v to i32
            store i32 %w, ptr %place)",
         {"strided:", "load i8, ptr", "masked.gather.v16i32"},
         {}},
        {"bytes that some neighbours share, which gains nothing",
         R"(%t = udiv i32 %x, 15
            %n = zext i32 %t to i64
            %q = getelementptr i8, ptr %out, i64 %n
            %v = load i8, ptr %q
            %w = zext i8 %v to i32
            store i32 %w, ptr %place)",
         {"masked.gather.v16i32"},
         {"strided:"}},
        {"atomics at one address, together",
         R"(%old = atomicrmw add ptr %out, i32 1 monotonic
            store i32 %old, ptr %place)",
         {"atomicrmw add"},
         {"lane:"}},
        {"atomics at several addresses, one thread after the other",
         R"(%old = atomicrmw add ptr %place, i32 1 monotonic
            store i32 %old, ptr %place)",
         {"lane:", "atomicrmw"},
         {}},
        {"sums of floats in the order of the threads",
         R"(%old = atomicrmw fadd ptr %out, float 1.0 monotonic)",
         {"lane:", "atomicrmw"},
         {}},
        {"quotients, exact in double precision",
         R"(%v = load i32, ptr %place
            %d = or i32 %v, 1
            %q = udiv i32 %x, %d
            store i32 %q, ptr %place)",
         {"fdiv <16 x double>", "select"},
         {"udiv"}},
        {"a division by what all share: a product, corrected unless infinite, not to be rearranged",
         R"(%size = load float, ptr %out
            %f = uitofp i32 %x to float
            %q = fdiv arcp float %f, %size
            store float %q, ptr %place)",
         {"fmul <16 x float>", "select"},
         {"fdiv <16 x float>", "fdiv arcp <16 x float>", "fmul arcp"}},
        {"a division that must be exact",
         R"(%size = load float, ptr %out
            %f = uitofp i32 %x to float
            %q = fdiv float %f, %size
            store float %q, ptr %place)",
         {"fdiv <16 x float>"},
         {}},
        {"a division by what each has of its own",
         R"(%f = uitofp i32 %x to float
            %size = load float, ptr %out
            %q = fdiv arcp float %size, %f
            store float %q, ptr %place)",
         {"fdiv arcp <16 x float>"},
         {}},
    };
    for (const Case& one : cases) {
        const std::string text = widened(place + one.body + "\n ret void");
        for (const char* part : one.present)
            EXPECT_TRUE(text.find(part) != std::string::npos) << one.title << ": " << part << text;
        for (const char* part : one.absent)
            EXPECT_TRUE(text.find(part) == std::string::npos) << one.title << ": " << part << text;
    }
}

TEST(WideningTests, OnlyDivergentBranchesNeedMasks) {
    const auto ifThen = [](const std::string& condition) {
        return place + "%c = " + condition + R"(
            br i1 %c, label %then, label %end
        then:
            store i32 1, ptr %place
            br label %end
        end:
            ret void)";
    };
    const std::string uniform = widened(ifThen("icmp eq i32 %y, 3"));
    EXPECT_TRUE(uniform.find("bitcast <16 x i1>") == std::string::npos) << uniform;
    const std::string divergent = widened(ifThen("icmp eq i32 %x, 3"));
    EXPECT_TRUE(divergent.find("bitcast <16 x i1>") != std::string::npos) << divergent;
}

TEST(WideningTests, UniformTermsOfAConditionAreTestedFirst) {
    // Without masks, and before the arithmetic of the other terms.
    const std::string skipIf = "br i1 %c, label %end, label %then";
    const std::string skipUnless = "br i1 %c, label %then, label %end";
    const std::pair<std::string, bool> cases[] = {
        {"%c = or i1 %column, %row\n" + skipIf, true},
        {"%c = and i1 %row, %column\n" + skipUnless, true},
        {"%c = select i1 %row, i1 %column, i1 false\n" + skipUnless, true},
        {"%c = and i1 %column, %row\n" + skipIf, false}, // neither decides alone
        {"%d = icmp eq i32 %x, 7\n%c = or i1 %column, %d\n" + skipIf, false},
        {"%d = icmp eq i32 %y, 7\n%c = or i1 %row, %d\n" + skipIf, false}};
    for (const auto& [condition, isSplit] : cases) {
        const std::string text = widened(place + R"(
            %square = mul i32 %x, %x
            %column = icmp ugt i32 %square, 99
            %row = icmp ugt i32 %y, 3
        )" + condition + R"(
        then:
            store i32 %square, ptr %place
            br label %end
        end:
            %which = phi i32 [ 0, %0 ], [ 1, %then ]
            store i32 %which, ptr %place
            ret void)");
        const std::size_t row = text.find("icmp ugt i32", text.find("@tile"));
        ASSERT_NE(row, text.npos) << text;
        EXPECT_EQ(text.find("br i1 %", row) < text.find("mul <16 x i32>"), isSplit)
            << condition << text;
    }
}

TEST(WideningTests, TwoVectorsGoTogetherWhereTheyDoNotWaitForMemory) {
    const auto lanes = [](const std::string& body, target::VectorsInFlight vectors) {
        KernelText kernel(place + R"(
            %start = sitofp i32 %x to float
            %long = zext i32 %x to i64
            br label %loop
        loop:
            %i = phi i32 [ 0, %0 ], [ %next, %loop ]
            %value = phi float [ %start, %0 ], [ %new, %loop ]
            %next = add i32 %i, 1
        )" + body + R"(
            %again = icmp ult i32 %next, 1000
            br i1 %again, label %loop, label %end
        end:
            store float %value, ptr %place
            ret void)");
        const auto made =
            simd::Vectoriser::analyse(kernel.function(), kernel.analyses(), 16, vectors);
        return made ? (*made)->lanes() : 0;
    };
    const std::string arithmetic = R"(
        %square = fmul float %value, %value
        %half = fmul float %value, 0.5
        %sum = fadd float %square, %half
        %new = fsub float %sum, %start)";
    std::string memory = "%p0 = fptoui float %value to i32\n";
    for (int i = 0; i < 4; ++i) {
        const std::string n = std::to_string(i);
        memory += "%a" + n + " = getelementptr i32, ptr %out, i32 %p" + n + "\n%p" +
                  std::to_string(i + 1) + " = load i32, ptr %a" + n + "\n";
    }
    memory += "%new = uitofp i32 %p4 to float";
    const std::string wide = R"(
        %whole = fptoui float %value to i64
        %product = mul i64 %whole, %long
        %rest = xor i64 %product, 77
        %new = uitofp i64 %rest to float)";
    EXPECT_EQ(lanes(arithmetic, {1, 2}), 32u);
    EXPECT_EQ(lanes(arithmetic, {1, 1}), 16u);
    EXPECT_EQ(lanes(memory, {1, 2}), 16u);
    EXPECT_EQ(lanes(memory, {2, 2}), 32u);
    EXPECT_EQ(lanes(wide, {1, 2}), 16u);
}

TEST(WideningTests, WhatTheIterationDecidesIsReadFromATable) {
    const std::string text = widened(place + R"(
            br label %loop
        loop:
            %i = phi i32 [ 0, %0 ], [ %j, %loop ]
            %weight = phi float [ 1.0, %0 ], [ %half, %loop ]
            %sum = phi float [ 0.0, %0 ], [ %more, %loop ]
            %n = sitofp i32 %i to float
            %root = call float @llvm.sqrt.f32(float %n)
            %part = fmul float %root, %weight
            %own = sitofp i32 %x to float
            %term = fmul float %part, %own
            %more = fadd float %sum, %term
            %half = fmul float %weight, 0.5
            %j = add i32 %i, 1
            %c = icmp ult i32 %j, 12
            br i1 %c, label %loop, label %end
        end:
            store float %more, ptr %place
            ret void)");
    const std::size_t tile = text.find("void @tile");
    ASSERT_NE(tile, text.npos) << text;
    EXPECT_LT(text.find("call float @llvm.sqrt"), tile) << text;
    EXPECT_NE(text.find(", 8\n", text.find("mul nuw i32", tile)), text.npos)
        << "entries of four bytes are padded to eight";
    // Dead instructions are left to the passes that follow.
    const std::size_t product = text.find("fmul <16 x float>", tile);
    ASSERT_NE(product, text.npos);
    EXPECT_EQ(text.find("fmul <16 x float>", product + 1), text.npos) << text;
}

TEST(WideningTests, AKernelThatCannotBeWidenedSaysWhy) {
    EXPECT_EQ(widened("%v = load <4 x float>, ptr %bindings\n ret void"),
              "it has a value that is neither a number nor a pointer");
    EXPECT_EQ(widened(R"(
        %a = alloca [100000 x i32]
        %far = zext i32 %x to i64
        %p = getelementptr [100000 x i32], ptr %a, i64 0, i64 %far
        store i32 %x, ptr %p
        ret void)"),
              "its private arrays are too large");
}

} // namespace
