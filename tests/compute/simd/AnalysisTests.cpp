// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the vectoriser finds out about a kernel, on kernels of a few lines.
#include "compute/simd/analysis/DivergentJoins.h"
#include "compute/simd/analysis/RegisterPressure.h"
#include "tests/compute/simd/KernelText.h"

#include <gtest/gtest.h>

namespace {

using namespace compute::simd;
using tests::Analysed;
using tests::KernelText;

TEST(AnalysisTests, StridesFollowThePositionThroughArithmetic) {
    KernelText kernel(R"(
        %out = load ptr, ptr %bindings
        %width = load i32, ptr %grid
        %row = mul i32 %width, %y
        %index = add i32 %row, %x
        %scaled = shl i32 %x, 2
        %second = or disjoint i32 %scaled, 1
        %back = sub i32 100, %x
        %far = zext i32 %index to i64
        %pixel = getelementptr [4 x float], ptr %out, i64 %far
        %blue = getelementptr i8, ptr %pixel, i64 8
        %twice = mul i32 %x, %x
        %value = load i32, ptr %blue
        %odd = and i32 %x, 1
        ret void)");
    const Analysed found(kernel);
    const std::pair<const char*, std::optional<std::int64_t>> expected[] = {
        {"out", 0}, {"row", 0},    {"index", 1}, {"scaled", 4}, {"second", 4}, {"back", -1},
        {"far", 1}, {"pixel", 16}, {"blue", 16}, {"value", {}}, {"twice", {}}, {"odd", {}}};
    for (const auto& [name, stride] : expected)
        EXPECT_EQ(found.strides->of(kernel.value(name)), stride) << name;
}

/// A loop that threads leave when `%done`, around a block `body`.
std::string loopUntil(const std::string& done) {
    return R"(
    entry:
        %out = load ptr, ptr %bindings
        br label %head
    head:
        %i = phi i32 [ 0, %entry ], [ %next, %back ]
        %at = phi i32 [ %x, %entry ], [ %further, %back ]
        %done = )" +
           done + R"(
        br i1 %done, label %leave, label %body
    body:
        %half = lshr i32 %at, 1
        %odd = trunc i32 %half to i1
        br i1 %odd, label %work, label %back
    work:
        store i32 %i, ptr %out
        br label %back
    back:
        %next = add i32 %i, 1
        %further = add i32 %at, 4096
        br label %head
    leave:
        %last = phi i32 [ %i, %head ]
        ret void)";
}

TEST(AnalysisTests, ExitsOfALoopAreUniformOrDivergent) {
    KernelText together(loopUntil("icmp eq i32 %i, 10"));
    const Analysed uniform(together);
    const llvm::Loop* loop = uniform.loops.getLoopFor(together.block("head"));
    EXPECT_TRUE(uniform.tree->hasUniformExits(loop));
    EXPECT_TRUE(uniform.tree->allExitsJump(loop));
    EXPECT_EQ(uniform.tree->continuation(together.block("head")), together.block("body"));
    EXPECT_TRUE(uniform.tree->reconverges(together.block("back")));
    EXPECT_FALSE(uniform.tree->reconverges(together.block("work")));
    EXPECT_EQ(uniform.tree->maskRoot(together.block("back")), together.block("entry"));
    EXPECT_EQ(uniform.tree->maskRoot(together.block("work")), together.block("work"));
    EXPECT_EQ(uniform.strides->of(together.value("at")), 1) << "affine in every iteration";
    EXPECT_EQ(uniform.strides->of(together.value("last")), 0);

    KernelText apart(loopUntil("icmp ugt i32 %at, 10000"));
    const Analysed alone(apart);
    loop = alone.loops.getLoopFor(apart.block("head"));
    EXPECT_FALSE(alone.tree->hasUniformExits(loop));
    EXPECT_TRUE(alone.tree->allExitsJump(loop));
    EXPECT_EQ(alone.tree->maskRoot(apart.block("back")), apart.block("body"))
        << "those that stayed at the head";
    EXPECT_EQ(alone.strides->of(apart.value("i")), 0)
        << "uniform among the threads that are still in the loop";
    EXPECT_EQ(alone.strides->of(apart.value("last")), std::nullopt) << "temporal divergence";
}

TEST(AnalysisTests, PhisOfDivergentJoinsAreDivergent) {
    // The loop holds a uniform branch, a divergent exit, and a uniform exit that all threads that
    // are left take at once.
    KernelText kernel(R"(
    entry:
        %out = load ptr, ptr %bindings
        %limit = load i32, ptr %grid
        %some = icmp ult i32 %x, 7
        %all = icmp ult i32 %y, 7
        br label %head
    head:
        %i = phi i32 [ 0, %entry ], [ %next, %back ]
        br i1 %all, label %then, label %body
    then:
        br label %body
    body:
        %inside = phi i32 [ 3, %head ], [ 4, %then ]
        %is.last = icmp eq i32 %i, %limit
        br i1 %is.last, label %leave, label %back
    back:
        %next = add i32 %i, 1
        br i1 %some, label %head, label %leave
    leave:
        %joined = phi i32 [ 0, %back ], [ 8, %body ]
        br i1 %all, label %end, label %other
    other:
        br label %end
    end:
        %after = phi i32 [ 1, %leave ], [ 2, %other ]
        ret void)");
    const Analysed found(kernel);
    EXPECT_FALSE(found.uniformity->isUniform(kernel.value("joined")));
    for (const char* name : {"i", "inside", "after"})
        EXPECT_TRUE(found.uniformity->isUniform(kernel.value(name))) << name;

    const DivergentJoins joins(kernel.function(), found.dominators);
    const llvm::Loop* loop = found.loops.getLoopFor(kernel.block("head"));
    const auto only = [&](const char* name) { return std::vector<Block*>{kernel.block(name)}; };
    EXPECT_EQ(joins.ofBranch(*kernel.block("head")), only("body"));
    EXPECT_EQ(joins.ofBranch(*kernel.block("leave")), only("end"));
    EXPECT_EQ(joins.ofExits(*loop), only("leave"));
    EXPECT_EQ(joins.loopsLeftBy(*kernel.block("back")).size(), 1u);
    EXPECT_TRUE(joins.loopsLeftBy(*kernel.block("head")).empty());
}

TEST(AnalysisTests, PrivateMemoryIsUniformInterleavedOrCopied) {
    KernelText kernel(R"(
    entry:
        %text = alloca [8 x i8]
        %mine = alloca [8 x i32]
        %mixed = alloca [8 x i32]
        %late = alloca i32
        store i8 65, ptr %text
        %index = zext i32 %x to i64
        %element = getelementptr [8 x i32], ptr %mine, i64 0, i64 %index
        store i32 7, ptr %element
        %byte = getelementptr i8, ptr %mixed, i64 1
        store i8 1, ptr %byte
        store i32 %x, ptr %mixed
        %character = getelementptr i8, ptr %text, i64 %index
        %seen = load i8, ptr %character
        %odd = trunc i32 %x to i1
        br i1 %odd, label %write, label %read
    write:
        store i32 1, ptr %late
        br label %read
    read:
        %value = load i32, ptr %late
        ret void)");
    const Analysed found(kernel);
    const std::pair<const char*, PrivateMemory::Kind> expected[] = {
        {"text", PrivateMemory::Kind::Uniform}, // although each thread reads its own character
        {"mine", PrivateMemory::Kind::Interleaved},
        {"mixed", PrivateMemory::Kind::Copies},
        {"late", PrivateMemory::Kind::Interleaved}}; // only some threads write
    for (const auto& [name, kind] : expected)
        EXPECT_EQ(found.memory.kind(llvm::cast<llvm::AllocaInst>(kernel.value(name))), kind)
            << name;
    EXPECT_EQ(found.memory.elementBytes(llvm::cast<llvm::AllocaInst>(kernel.value("mine"))), 4u);
    EXPECT_EQ(found.memory.bytes(16), 16u * (32 + 32 + 4));
}

TEST(AnalysisTests, RegisterPressureIsThatOfTheInnermostLoop) {
    KernelText kernel(R"(
    entry:
        %out = load ptr, ptr %bindings
        %start = mul i32 %x, %x
        %wide = zext i32 %start to i64
        br label %loop
    loop:
        %i = phi i32 [ 0, %entry ], [ %next, %loop ]
        %sum = phi i64 [ %wide, %entry ], [ %more, %loop ]
        %index = add i32 %start, %i
        %place = getelementptr i32, ptr %out, i32 %index
        %value = load i32, ptr %place
        %long = zext i32 %value to i64
        %more = add i64 %sum, %long
        %next = add i32 %i, 1
        %again = icmp ult i32 %next, 10
        br i1 %again, label %loop, label %end
    end:
        ret void)");
    const Analysed found(kernel);
    const RegisterPressure pressure =
        registerPressureOf(kernel.function(), found.loops, *found.strides);
    EXPECT_EQ(pressure.liveWords, 5u) << "the start, the sum and the number to add";
    EXPECT_EQ(pressure.arithmetic, 6u) << "neither the counter nor its comparison";
    EXPECT_EQ(pressure.wide + pressure.scattered, 3u + 1u);
}

} // namespace
