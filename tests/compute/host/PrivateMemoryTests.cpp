// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Variables of a thread: what a wrong index reaches, and what was never written.
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

namespace {

/// Runs a body that reads the index %i (i32) from out[0] and leaves its result in out[1]. Before
/// and after, a second variable of the kernel is checked: out[2] becomes 7 when it kept its
/// content.
std::uint32_t runWithIndex(const std::string& body, std::int32_t index,
                           const std::string& declarations = {}) {
    const auto compiled = tests::compile(tests::makeOneDimensional(R"(
        %guard = alloca [4 x i32]
        %a = alloca [8 x i32]
        %guard2 = alloca [4 x i32]
        %zero = load i32, ptr %out
        %g1 = getelementptr [4 x i32], ptr %guard, i32 0, i32 3
        %g2 = getelementptr [4 x i32], ptr %guard2, i32 0, i32 0
        store volatile i32 3, ptr %g1
        store volatile i32 4, ptr %g2
        %i = load i32, ptr %out
        %o1 = getelementptr i32, ptr %out, i64 1
        %o2 = getelementptr i32, ptr %out, i64 2
    )" + body + R"(
        %s1 = load volatile i32, ptr %g1
        %s2 = load volatile i32, ptr %g2
        %sum = add i32 %s1, %s2
        store i32 %sum, ptr %o2
        ret void)",
                                                                   declarations));
    if (!compiled)
        return ~0u;
    std::vector<std::uint32_t> out = {static_cast<std::uint32_t>(index), 999, 0};
    compiled->run(tests::bind(out), {}, {});
    EXPECT_EQ(out[2], 7u) << "another variable was overwritten by index " << index;
    return out[1];
}

/// The same with the number itself where %i stood.
std::uint32_t runWithConstant(std::string body, std::int32_t index,
                              const std::string& declarations = {}) {
    body.replace(body.find("%i"), 2, std::to_string(index));
    return runWithIndex(body, index, declarations);
}

const char* arrayIndex = R"(
    %p = getelementptr inbounds [8 x i32], ptr %a, i32 0, i32 %i
    store i32 55, ptr %p
    %last = getelementptr [8 x i32], ptr %a, i32 0, i32 7
    %r = load i32, ptr %last
    store i32 %r, ptr %o1)";

const char* pointerArithmetic = R"(
    %p = getelementptr inbounds i32, ptr %a, i32 %i
    %q = getelementptr inbounds i32, ptr %p, i64 1
    store i32 55, ptr %q
    %last = getelementptr [8 x i32], ptr %a, i32 0, i32 7
    %r = load i32, ptr %last
    store i32 %r, ptr %o1)";

TEST(PrivateMemoryTests, IndicesStayInsideTheirArray) {
    for (const std::int32_t wrong : {8, 9, 100, 1'000'000, -1, -2, -1'000'000}) {
        EXPECT_EQ(runWithIndex(arrayIndex, wrong), 55u) << wrong;
        EXPECT_EQ(runWithConstant(arrayIndex, wrong), 55u) << wrong;
        if (wrong == -1)
            continue;
        EXPECT_EQ(runWithIndex(pointerArithmetic, wrong), 55u) << wrong;
        EXPECT_EQ(runWithConstant(pointerArithmetic, wrong), 55u) << wrong;
    }
    EXPECT_EQ(runWithIndex(arrayIndex, 3), 0u);
    EXPECT_EQ(runWithIndex(arrayIndex, 7), 55u);
    EXPECT_EQ(runWithIndex(pointerArithmetic, 7), 55u) << "right behind the array";
    EXPECT_EQ(runWithConstant(pointerArithmetic, 7), 55u);
    EXPECT_EQ(runWithIndex(pointerArithmetic, 6), 55u);
    EXPECT_EQ(runWithIndex(pointerArithmetic, -1), 0u) << "the first element";
}

TEST(PrivateMemoryTests, PointersThatWalkOrDifferByPath) {
    // p walks from the array's start in steps of one; what lies past the end is left alone.
    const char* walk = R"(
        br label %loop
    loop:
        %p = phi ptr [ %a, %0 ], [ %next, %loop ]
        %n = phi i32 [ 0, %0 ], [ %m, %loop ]
        store i32 %n, ptr %p
        %next = getelementptr inbounds i32, ptr %p, i64 1
        %m = add i32 %n, 1
        %c = icmp slt i32 %m, %i
        br i1 %c, label %loop, label %done
    done:
        %last = getelementptr [8 x i32], ptr %a, i32 0, i32 7
        %r = load i32, ptr %last
        store i32 %r, ptr %o1)";
    EXPECT_EQ(runWithIndex(walk, 8), 7u);
    EXPECT_EQ(runWithIndex(walk, 5000), 7u);
    // One of two arrays, or the buffer itself.
    const char* either = R"(
        %b = alloca [2 x i32]
        %c1 = icmp sgt i32 %i, 1000
        %c2 = icmp sgt i32 %i, 5
        %array = select i1 %c1, ptr %b, ptr %a
        %chosen = select i1 %c2, ptr %array, ptr %o1
        %j = sub i32 %i, 1
        %p = getelementptr i32, ptr %chosen, i32 %j
        store i32 55, ptr %p
        %last = getelementptr [8 x i32], ptr %a, i32 0, i32 7
        %r = load i32, ptr %last
        %old = load i32, ptr %o1
        %both = mul i32 %r, 100
        %t = add i32 %old, %both
        store i32 %t, ptr %o1)";
    EXPECT_EQ(runWithIndex(either, 8), 999u + 5500u);
    EXPECT_EQ(runWithIndex(either, 9), 999u);
    EXPECT_EQ(runWithIndex(either, 5000), 999u);
    EXPECT_EQ(runWithIndex(either, 1), 55u) << "the buffer is reached as ever";
    // i == 3 ? a[3] : a[i], as something to be written.
    const char* choice = R"(
        %c = icmp eq i32 %i, 3
        br i1 %c, label %third, label %any
    third:
        %p3 = getelementptr [8 x i32], ptr %a, i32 0, i32 3
        br label %chosen
    any:
        %pi = getelementptr [8 x i32], ptr %a, i32 0, i32 %i
        br label %chosen
    chosen:
        %p = phi ptr [ %p3, %third ], [ %pi, %any ]
        store i32 55, ptr %p
        %last = getelementptr [8 x i32], ptr %a, i32 0, i32 7
        %r = load i32, ptr %last
        store i32 %r, ptr %o1)";
    EXPECT_EQ(runWithIndex(choice, 100), 55u);
    EXPECT_EQ(runWithIndex(choice, 3), 0u);
}

const char* vectorFunctions = "declare void @llvm.memset.p0.i64(ptr, i8, i64, i1)\n"
                              "declare i32 @llvm.vector.reduce.add.v8i32(<8 x i32>)";

TEST(PrivateMemoryTests, NothingIsRightBehindAnArrayThatAConditionChose) {
    const char* chosen = R"(
        %b = alloca [8 x i32]
        call void @llvm.memset.p0.i64(ptr %a, i8 0, i64 32, i1 false)
        call void @llvm.memset.p0.i64(ptr %b, i8 0, i64 32, i1 false)
        %odd = and i32 %i, 1
        %c = icmp ne i32 %odd, 0
        %array = select i1 %c, ptr %a, ptr %b
        %p = getelementptr i32, ptr %array, i32 %i
        store i32 55, ptr %p
        %all.a = load <8 x i32>, ptr %a
        %all.b = load <8 x i32>, ptr %b
        %all = or <8 x i32> %all.a, %all.b
        %r = call i32 @llvm.vector.reduce.add.v8i32(<8 x i32> %all)
        store i32 %r, ptr %o1)";
    for (const auto& [index, expected] : {std::pair(7, 55u), {8, 0u}, {9, 0u}, {-1, 0u}})
        EXPECT_EQ(runWithIndex(chosen, index, vectorFunctions), expected) << index;
}

TEST(PrivateMemoryTests, AnIndexOfTheLengthIsTheLastElement) {
    // Of the inner array: what follows it in the same variable is left alone.
    const char* inner = R"(
        %s = alloca { [4 x i32], [4 x i32] }
        call void @llvm.memset.p0.i64(ptr %s, i8 0, i64 32, i1 false)
        %p = getelementptr { [4 x i32], [4 x i32] }, ptr %s, i32 0, i32 0, i32 %i
        store i32 55, ptr %p
        %last = getelementptr i32, ptr %s, i32 3
        %next = getelementptr i32, ptr %s, i32 4
        %l = load i32, ptr %last
        %n = load i32, ptr %next
        %m = mul i32 %n, 1000
        %r = add i32 %l, %m
        store i32 %r, ptr %o1)";
    for (const std::int32_t index : {3, 4, 5}) {
        EXPECT_EQ(runWithIndex(inner, index, vectorFunctions), 55u) << index;
        EXPECT_EQ(runWithConstant(inner, index, vectorFunctions), 55u) << index;
    }
}

TEST(PrivateMemoryTests, ConstantTablesAreBoundedToo) {
    const char* body = R"(
        %p = getelementptr inbounds [4 x i32], ptr @table, i32 0, i32 %i
        %r = load i32, ptr %p
        store i32 %r, ptr %o1)";
    const char* table = "@table = internal constant [4 x i32] [i32 1, i32 2, i32 3, i32 4]";
    for (const std::int32_t wrong : {4, 5, 1'000'000}) {
        EXPECT_EQ(runWithIndex(body, wrong, table), 4u) << wrong;
        EXPECT_EQ(runWithConstant(body, wrong, table), 4u) << wrong;
    }
}

TEST(PrivateMemoryTests, WhatWasNeverWrittenIsZero) {
    // The branch on an unwritten variable must choose one way, and the same for all uses.
    EXPECT_EQ(runWithIndex(R"(
        %flag = alloca i32
        %v = load i32, ptr %flag
        %c = icmp eq i32 %v, 0
        br i1 %c, label %zero_, label %other
    zero_:
        br label %join
    other:
        br label %join
    join:
        %s = phi i32 [ 10, %zero_ ], [ 20, %other ]
        %p = getelementptr [8 x i32], ptr %a, i32 0, i32 %i
        %e = load i32, ptr %p
        %r = add i32 %s, %e
        store i32 %r, ptr %o1)",
                           5),
              10u);
}

/// The second call must not see what the first one left in its variable.
TEST(PrivateMemoryTests, EachCallHasVariablesOfItsOwn) {
    const auto compiled = tests::compile(tests::makeOneDimensional(R"(
            br label %loop
        loop:
            %i = phi i32 [ 0, %0 ], [ %next, %loop ]
            %r = call i32 @maybe(i32 %i)
            %p = getelementptr i32, ptr %out, i32 %i
            store i32 %r, ptr %p
            %next = add i32 %i, 1
            %more = icmp ult i32 %next, 3
            br i1 %more, label %loop, label %end
        end:
            ret void)",
                                                                   R"(
        define i32 @maybe(i32 %i) {
            %v = alloca i32
            call void @setInFirstCall(ptr %v, i32 %i)
            %r = load i32, ptr %v
            ret i32 %r
        }
        define void @setInFirstCall(ptr %v, i32 %i) {
            %first = icmp eq i32 %i, 0
            br i1 %first, label %set, label %end
        set:
            store i32 5, ptr %v
            br label %end
        end:
            ret void
        })"));
    ASSERT_TRUE(compiled);
    std::vector<std::uint32_t> out = {9, 9, 9};
    compiled->run(tests::bind(out), {}, {});
    EXPECT_EQ(out, (std::vector<std::uint32_t>{5, 0, 0}));
}

} // namespace
