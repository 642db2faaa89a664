// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The passes that let a large kernel call functions: what each of them changes, and that the kernel
// still computes the same.
#include "compute/kernel/sharing/ChooseShared.h"
#include "compute/kernel/sharing/PartialInlining.h"
#include "tests/compute/kernel/PassBench.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tests {
namespace {

using namespace compute;
using namespace compute::kernel;

/// A kernel with a variable %m of x, and 5 behind it, that makes %r and stores it.
Program kernelAround(const std::string& body, const std::string& functions) {
    return makeOneDimensional(R"(
        %m = alloca [64 x i32]
        %n = alloca [64 x i32]
        %second = getelementptr i8, ptr %m, i64 4
        store i32 %x, ptr %m
        store i32 5, ptr %second
    )" + body + "\nstore i32 %r, ptr %out\nret void",
                              functions);
}

struct PromotionCase {
    const char* label;
    const char* function; ///< @f, marked as shared
    const char* body;     ///< calls it and makes %r
    const char* signature;
    const char* stored; ///< for x = 3
};

TEST(SharingTests, PromotedArgumentsDoWhatMemoryDid) {
    const PromotionCase cases[] = {
        {"read and written",
         R"(define i32 @f(ptr "sl42-by-value" %p) "sl42-shared" {
                %old = load i32, ptr %p
                %new = add i32 %old, 1
                store i32 %new, ptr %p
                ret i32 %old })",
         "%o = call i32 @f(ptr %m) %t = mul i32 %o, 100 %v = load i32, ptr %m %r = add i32 %t, %v",
         "{ i32, i32 } @f(i32", "304"},
        {"only read",
         R"(define i32 @f(ptr "sl42-by-value" %p) "sl42-shared" {
                %q = getelementptr i8, ptr %p, i64 4
                %v = load i32, ptr %q
                ret i32 %v })",
         "%r = call i32 @f(ptr %m)", "i32 @f(i32", "5"},
        {"written on some paths only",
         R"(define void @f(ptr "sl42-by-value" %p, i1 %c) "sl42-shared" {
                br i1 %c, label %write, label %end
            write:
                store i32 8, ptr %p
                ret void
            end:
                ret void })",
         "call void @f(ptr %m, i1 false) %r = load i32, ptr %m", "i32 @f(i32", "3"},
        {"a byte of a word",
         R"(define i32 @f(ptr "sl42-by-value" %p) "sl42-shared" {
                %q = getelementptr i8, ptr %p, i64 1
                store i8 1, ptr %q
                %v = load i32, ptr %p
                ret i32 %v })",
         "%r = call i32 @f(ptr %m)", "{ i32, i32 } @f(i32", "259"},
        {"a copy of its own",
         R"(define i32 @f(ptr byval([2 x i32]) "sl42-by-value" %p) "sl42-shared" {
                store i32 9, ptr %p
                ret i32 1 })",
         "%o = call i32 @f(ptr byval([2 x i32]) %m) %v = load i32, ptr %m %r = add i32 %o, %v",
         "i32 @f(i32", "4"},
        {"a copy of bytes",
         R"(declare void @llvm.memcpy.p0.p0.i64(ptr, ptr, i64, i1)
            define void @f(ptr "sl42-by-value" %to, ptr "sl42-by-value" %from) "sl42-shared" {
                call void @llvm.memcpy.p0.p0.i64(ptr %to, ptr %from, i64 8, i1 false)
                ret void })",
         "call void @f(ptr %n, ptr %m) %q = getelementptr i8, ptr %n, i64 4 %r = load i32, ptr %q",
         "} @f(i32", "5"},
        {"a call within a call",
         R"(define void @g(ptr "sl42-by-value" %p) "sl42-shared" {
                %v = load i32, ptr %p
                %w = mul i32 %v, 3
                store i32 %w, ptr %p
                ret void }
            define void @f(ptr "sl42-by-value" %p) "sl42-shared" {
                %q = getelementptr i8, ptr %p, i64 4
                call void @g(ptr %q)
                ret void })",
         "call void @f(ptr %m) %r = load i32, ptr %second", "i32 @f(i32", "15"},
        {"other pointers", R"(define i32 @f(ptr %p) "sl42-shared" {
                %v = load i32, ptr %p
                ret i32 %v })",
         "%o = call i32 @f(ptr %out) %r = and i32 %o, 0", "i32 @f(ptr", "0"},
    };
    for (const PromotionCase& row : cases) {
        PassBench bench(kernelAround(row.body, row.function));
        ASSERT_EQ(bench.run({"bindParameters", "promoteArguments", "inlineCalls"}), "")
            << row.label;
        EXPECT_TRUE(contains(bench.text(), row.signature)) << row.label << bench.text();
        EXPECT_EQ(bench.stored(3), row.stored) << row.label;
    }
}

TEST(SharingTests, WhatWouldBePassedTooMuchIsInlined) {
    PassBench bench(kernelAround("call void @f(ptr %n, ptr %m) call void @f(ptr %m, ptr %n) "
                                 "%r = load i32, ptr %m",
                                 R"(
        declare void @llvm.memcpy.p0.p0.i64(ptr, ptr, i64, i1)
        define void @f(ptr "sl42-by-value" %to, ptr "sl42-by-value" %from) "sl42-shared" {
            call void @llvm.memcpy.p0.p0.i64(ptr %to, ptr %from, i64 256, i1 false)
            ret void })"));
    ASSERT_EQ(bench.run({"bindParameters", "promoteArguments", "inlineCalls"}), "");
    EXPECT_TRUE(bench.function("f")->isDeclaration()) << bench.text();
    EXPECT_EQ(bench.stored(3), "3");
}

TEST(SharingTests, ArgumentsThatCallsAgreeOnAreEliminated) {
    PassBench bench(kernelAround(R"(
        %y = add i32 %x, 1
        %xf = sitofp i32 %x to float
        %yf = sitofp i32 %y to float
        %a = call i32 @f(i32 %x, i32 %x, i32 7, i32 8, float %xf, i32 1)
        %b = call i32 @f(i32 %y, i32 %y, i32 7, i32 9, float %yf, i32 2)
        %r = add i32 %a, %b)",
                                 R"(
        define i32 @f(i32 %v, i32 %same, i32 %seven, i32 %unused, float %converted, i32 %differs)
                "sl42-shared" {
            %c = fptosi float %converted to i32
            %s0 = mul i32 %v, 10
            %s1 = add i32 %s0, %same
            %s2 = mul i32 %seven, 1000
            %s3 = add i32 %s1, %s2
            %s4 = mul i32 %differs, 100000
            %s5 = add i32 %s3, %s4
            %s6 = add i32 %s5, %c
            ret i32 %s6
        })"));
    ASSERT_EQ(
        bench.run({"bindParameters", "promoteArguments", "inlineCalls", "eliminateArguments"}), "");
    const llvm::Function& function = *bench.function("f");
    EXPECT_EQ(function.arg_size(), 3U) << bench.text();
    EXPECT_TRUE(std::ranges::all_of(function.args(), [](const llvm::Argument& parameter) {
        return parameter.getType()->isIntegerTy(32);
    })) << "the conversion moves into the function";
    EXPECT_FALSE(isShared(function));
    EXPECT_TRUE(function.hasFnAttribute("probe-stack"));
    EXPECT_EQ(bench.stored(3), "314084");
}

TEST(SharingTests, PromoteNotesWhatCallersMayRelyOn) {
    PassBench bench(kernelAround(R"(
        %a = call i32 @plain(i32 %x)
        %b = call i32 @loops(i32 %x)
        %c = call i32 @reads(ptr %out)
        %s = add i32 %a, %b
        %r = add i32 %s, %c)",
                                 R"(
        define i32 @plain(i32 %v) "sl42-shared" { %r = mul i32 %v, %v ret i32 %r }
        define i32 @loops(i32 %v) "sl42-shared" {
            br label %loop
        loop:
            %i = phi i32 [ %v, %0 ], [ %n, %loop ]
            %s = mul i32 %i, %i
            %n = add i32 %s, 1
            %c = icmp ne i32 %n, 77
            br i1 %c, label %loop, label %done
        done:
            ret i32 %n
        }
        define i32 @reads(ptr %p) "sl42-shared" { %r = load i32, ptr %p ret i32 %r })"));
    ASSERT_EQ(bench.run({"bindParameters", "promoteArguments", "inlineCalls", "eliminateArguments",
                         "promote"}),
              "");
    EXPECT_TRUE(bench.function("plain")->isSpeculatable());
    EXPECT_TRUE(bench.function("plain")->doesNotAccessMemory());
    EXPECT_TRUE(bench.function("loops")->doesNotAccessMemory());
    EXPECT_FALSE(bench.function("loops")->willReturn());
    EXPECT_FALSE(bench.function("loops")->isSpeculatable());
    EXPECT_TRUE(bench.function("reads")->onlyReadsMemory());
    EXPECT_FALSE(bench.function("reads")->doesNotAccessMemory());
    EXPECT_FALSE(bench.function("reads")->isSpeculatable());
}

} // namespace
} // namespace tests
