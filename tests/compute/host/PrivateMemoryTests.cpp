// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Variables of a thread: what a wrong index reaches, and what was never written.
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

#include <regex>

namespace {

constexpr const char* declarations = R"(
    @table = internal constant [4 x i32] [i32 1, i32 2, i32 3, i32 4]
    declare i32 @llvm.umin.i32(i32, i32)
    declare void @llvm.memset.p0.i64(ptr, i8, i64, i1)
    declare i32 @llvm.vector.reduce.add.v8i32(<8 x i32>))";

/// A kernel around a body that has the index %i (i32) of out[0] and an array %a, and makes %r,
/// which becomes out[1]. On both sides are variables that the body must leave alone: then out[2]
/// is 7.
std::shared_ptr<compute::Kernel> compileBody(const std::string& body) {
    return tests::compile(tests::makeOneDimensional(R"(
        %guard = alloca [4 x i32]
        %a = alloca [8 x i32]
        %guard2 = alloca [4 x i32]
        %g1 = getelementptr [4 x i32], ptr %guard, i32 0, i32 3
        store volatile i32 3, ptr %g1
        store volatile i32 4, ptr %guard2
        %last = getelementptr [8 x i32], ptr %a, i32 0, i32 7
        %i = load i32, ptr %out
        %o1 = getelementptr i32, ptr %out, i64 1
        %o2 = getelementptr i32, ptr %out, i64 2
    )" + body + R"(
        store i32 %r, ptr %o1
        %s1 = load volatile i32, ptr %g1
        %s2 = load volatile i32, ptr %guard2
        %guards = add i32 %s1, %s2
        store i32 %guards, ptr %o2
        ret void)",
                                                    declarations));
}

std::uint32_t run(const std::string& body, std::int32_t index) {
    const auto compiled = compileBody(body);
    std::vector<std::uint32_t> out = {static_cast<std::uint32_t>(index), 999, 0};
    if (compiled)
        compiled->run(tests::bind(out), {}, {});
    EXPECT_EQ(out[2], 7u) << "another variable was overwritten";
    return out[1];
}

/// Stores 55 at %p, and finds out whether that is the last element of %a.
const std::string storeAtPlace = R"(
    store i32 55, ptr %p
    %r = load i32, ptr %last)";

struct Case {
    const char* label;
    std::string body;
    std::vector<std::pair<std::int32_t, std::uint32_t>> results; ///< for each index
    bool isChosen = false; ///< by the index, which the compiler must not know
};

const Case cases[] = {
    {"an array",
     "%p = getelementptr inbounds [8 x i32], ptr %a, i32 0, i32 %i" + storeAtPlace,
     {{3, 0}, {7, 55}, {8, 55}, {9, 55}, {1'000'000, 55}, {-1, 55}, {-2, 55}, {-1'000'000, 55}}},
    {"a pointer",
     "%p = getelementptr i32, ptr %a, i32 %i" + storeAtPlace,
     {{6, 0}, {7, 55}, {8, 55}, {-1, 55}}},
    {"a pointer in steps, of which the first may be behind the array or before it",
     "%q = getelementptr inbounds i32, ptr %a, i32 %i\n"
     "%p = getelementptr inbounds i32, ptr %q, i64 1" +
         storeAtPlace,
     {{-1, 0}, {6, 55}, {7, 55}, {8, 55}, {1'000'000, 55}, {-2, 55}, {-1'000'000, 55}}},
    {"bytes, across the end",
     "%p = getelementptr i8, ptr %a, i32 %i" + storeAtPlace,
     {{24, 0}, {28, 55}, {29, 55}}},
    {"a bound of the length",
     "%c = call i32 @llvm.umin.i32(i32 %i, i32 8)\n"
     "%p = getelementptr [8 x i32], ptr %a, i32 0, i32 %c" +
         storeAtPlace,
     {{9, 55}}},
    {"an outer index",
     "%p = getelementptr [2 x [4 x i32]], ptr %a, i32 0, i32 %i, i32 3" + storeAtPlace,
     {{0, 0}, {1, 55}, {2, 55}, {-1, 55}}},
    {"an inner array, of which the next one is left alone",
     R"(%s = alloca { [4 x i32], [4 x i32] }
        call void @llvm.memset.p0.i64(ptr %s, i8 0, i64 32, i1 false)
        %p = getelementptr { [4 x i32], [4 x i32] }, ptr %s, i32 0, i32 0, i32 %i
        store i32 55, ptr %p
        %end = getelementptr i32, ptr %s, i32 3
        %next = getelementptr i32, ptr %s, i32 4
        %e = load i32, ptr %end
        %n = load i32, ptr %next
        %m = mul i32 %n, 1000
        %r = add i32 %e, %m)",
     {{3, 55}, {4, 55}, {5, 55}}},
    {"a table",
     "%p = getelementptr inbounds [4 x i32], ptr @table, i32 0, i32 %i\n%r = load i32, ptr %p",
     {{0, 1}, {4, 4}, {5, 4}, {1'000'000, 4}}},
    {"a place in a table that is a constant itself",
     "%p = select i1 true, ptr getelementptr ([4 x i32], ptr @table, i32 0, i32 4), ptr %a\n"
     "%r = load i32, ptr %p",
     {{0, 4}}},
    {"a pointer that walks: what lies past the end is left alone",
     R"(br label %loop
    loop:
        %p = phi ptr [ %a, %0 ], [ %next, %loop ]
        %n = phi i32 [ 0, %0 ], [ %m, %loop ]
        store i32 %n, ptr %p
        %next = getelementptr inbounds i32, ptr %p, i64 1
        %m = add i32 %n, 1
        %c = icmp slt i32 %m, %i
        br i1 %c, label %loop, label %done
    done:
        %r = load i32, ptr %last)",
     {{8, 7}, {5000, 7}}},
    {"one of two arrays, or the buffer itself",
     R"(%b = alloca [2 x i32]
        %c1 = icmp sgt i32 %i, 1000
        %c2 = icmp sgt i32 %i, 5
        %array = select i1 %c1, ptr %b, ptr %a
        %chosen = select i1 %c2, ptr %array, ptr %o1
        %j = sub i32 %i, 1
        %p = getelementptr i32, ptr %chosen, i32 %j
        store i32 55, ptr %p
        %e = load i32, ptr %last
        %old = load i32, ptr %o1
        %both = mul i32 %e, 100
        %r = add i32 %old, %both)",
     {{8, 999 + 5500}, {9, 999}, {5000, 999}, {1, 55}},
     true},
    {"the third element or any",
     R"(%c = icmp eq i32 %i, 3
        br i1 %c, label %third, label %any
    third:
        %p3 = getelementptr [8 x i32], ptr %a, i32 0, i32 3
        br label %chosen
    any:
        %pi = getelementptr [8 x i32], ptr %a, i32 0, i32 %i
        br label %chosen
    chosen:
        %p = phi ptr [ %p3, %third ], [ %pi, %any ])" +
         storeAtPlace,
     {{3, 0}, {7, 55}, {100, 55}},
     true},
    {"an array that a condition chose: nothing is right behind it",
     R"(%b = alloca [8 x i32]
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
        %r = call i32 @llvm.vector.reduce.add.v8i32(<8 x i32> %all))",
     {{7, 55}, {8, 0}, {9, 0}, {-1, 0}},
     true},
    {"an array by path",
     R"(%b = alloca [8 x i32]
        %c = icmp ult i32 %i, 7
        br i1 %c, label %one, label %other
    one:
        br label %join
    other:
        br label %join
    join:
        %array = phi ptr [ %b, %one ], [ %a, %other ]
        %p = getelementptr i32, ptr %array, i32 %i)" +
         storeAtPlace,
     {{6, 0}, {7, 55}, {8, 0}},
     true},
    {"variables of different sizes",
     R"(%small = alloca i32
        store i32 5, ptr %small
        %third = getelementptr i32, ptr %a, i32 3
        store i32 13, ptr %third
        %c = icmp ult i32 %i, 2
        %chosen = select i1 %c, ptr %small, ptr %a
        %p = getelementptr i32, ptr %chosen, i32 %i
        %r = load i32, ptr %p)",
     {{0, 5}, {1, 0}, {3, 13}},
     true},
    {"an access larger than its variable",
     R"(%small = alloca i32
        store i32 5, ptr %small
        %wide = load i64, ptr %small
        %high = lshr i64 %wide, 32
        %r = trunc i64 %high to i32)",
     {{0, 0}}},
    // The branch on it must choose one way, and the same for all uses.
    {"a variable that was never written is zero",
     R"(%flag = alloca i32
        %v = load i32, ptr %flag
        %c = icmp eq i32 %v, 0
        br i1 %c, label %isZero, label %other
    isZero:
        br label %join
    other:
        br label %join
    join:
        %s = phi i32 [ 10, %isZero ], [ 20, %other ]
        %p = getelementptr [8 x i32], ptr %a, i32 0, i32 %i
        %e = load i32, ptr %p
        %r = add i32 %s, %e)",
     {{5, 10}}},
};

TEST(PrivateMemoryTests, AccessesStayInTheirVariable) {
    const std::regex index(R"(%i\b)");
    for (const Case& one : cases)
        for (const auto& [i, result] : one.results) {
            SCOPED_TRACE(one.label + (" at " + std::to_string(i)));
            EXPECT_EQ(run(one.body, i), result);
            if (one.isChosen)
                continue;
            EXPECT_EQ(run(std::regex_replace(one.body, index, std::to_string(i)), i), result)
                << "that the compiler knows";
        }
}

/// The second call must not see what the first one left in its variable.
TEST(PrivateMemoryTests, EachCallHasVariablesOfItsOwn) {
    const auto compiled = tests::compile(tests::programOf(R"(
        void setInFirstCall(thread uint& v, uint i) {
            if (i == 0)
                v = 5;
        }
        uint maybe(uint i) {
            uint v;
            setInFirstCall(v, i);
            return v;
        }
        kernel void k(device uint* out) {
            for (uint i = 0; i < 3; ++i)
                out[i] = maybe(i);
        })"));
    ASSERT_TRUE(compiled);
    std::vector<std::uint32_t> out = {9, 9, 9};
    compiled->run(tests::bind(out), {}, {});
    EXPECT_EQ(out, (std::vector<std::uint32_t>{5, 0, 0}));
}

} // namespace
