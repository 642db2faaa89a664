// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which accesses count as confined, on small functions: what is proven is left alone, what is not
// is refused, and what only has a wild address is refused no longer once that is confined.
#include "compute/kernel/containment/ConfineAccesses.h"
#include "compute/kernel/containment/VerifyAccesses.h"

#include <gtest/gtest.h>
#include <llvm/AsmParser/Parser.h>
#include <llvm/IR/LLVMContext.h>
#include <llvm/IR/Verifier.h>
#include <llvm/Support/SourceMgr.h>

#include <string>

namespace tests {
namespace {

using namespace compute;

struct Body {
    const char* name;
    const char* text;
    const char* before = "";
};

class Function {
public:
    explicit Function(const Body& body) {
        const std::string text = std::string(body.before) + R"(
            define void @f(ptr "sl42-record"="16" "sl42-pointers" %record,
                           ptr "sl42-region" %buffer, i64 %n, i32 %i, ptr %any) {
            )" + body.text + "\nret void\n}\n";
        llvm::SMDiagnostic error;
        m_module = llvm::parseAssemblyString(text, error, m_context);
        EXPECT_TRUE(m_module) << error.getMessage().str() << "\n" << text;
    }
    bool isConfined() { return m_module && kernel::verifyAccesses(*m_module).hasValue(); }
    void confine() {
        if (!m_module)
            return;
        kernel::confineAccesses(*m_module->getFunction("f"));
        EXPECT_FALSE(llvm::verifyModule(*m_module, &llvm::errs()));
    }
    std::size_t size() const { return m_module->getInstructionCount(); }

private:
    llvm::LLVMContext m_context;
    std::unique_ptr<llvm::Module> m_module;
};

constexpr Body proven[] = {
    {"AnIndexOf32Bits", R"(
        %p = getelementptr [8 x i32], ptr %buffer, i32 %i
        store i32 1, ptr %p)"},
    {"AnIndexThatIsMasked", R"(
        %m = and i64 %n, 68719476735
        %p = getelementptr i8, ptr %buffer, i64 %m
        store i32 1, ptr %p)"},
    {"APointerOfTheRecord", R"(
        %r = getelementptr i8, ptr %record, i64 8
        %b = load ptr, ptr %r
        %p = getelementptr i64, ptr %b, i32 %i
        store i64 1, ptr %p)"},
    {"AnIndexClampedIntoAnArray", R"(
        %a = alloca [8 x i32]
        %c = call i32 @llvm.umin.i32(i32 %i, i32 7)
        %p = getelementptr i32, ptr %a, i32 %c
        store i32 1, ptr %p)",
     "declare i32 @llvm.umin.i32(i32, i32)"},
    {"OneOfTwoBuffers", R"(
        %o = load ptr, ptr %record
        %c = icmp eq i32 %i, 3
        %s = select i1 %c, ptr %o, ptr %buffer
        %p = getelementptr i32, ptr %s, i32 %i
        store i32 1, ptr %p)"},
    {"LanesOfABuffer", R"(
        %v = insertelement <4 x i32> poison, i32 %i, i64 0
        %s = shufflevector <4 x i32> %v, <4 x i32> poison, <4 x i32> zeroinitializer
        %w = mul <4 x i32> %s, <i32 0, i32 1, i32 7, i32 19>
        %p = getelementptr float, ptr %buffer, <4 x i32> %w
        %l = call <4 x float> @llvm.masked.gather.v4f32.v4p0(<4 x ptr> %p, i32 1,
            <4 x i1> <i1 1, i1 1, i1 1, i1 1>, <4 x float> zeroinitializer))",
     "declare <4 x float> @llvm.masked.gather.v4f32.v4p0(<4 x ptr>, i32, <4 x i1>, <4 x float>)"},
    {"LanesTakenApartThroughAList", R"(
        %list = alloca [2 x ptr]
        %spare = alloca i32
        %p = getelementptr float, ptr %buffer, <2 x i32> <i32 0, i32 9>
        %q = insertelement <2 x ptr> %p, ptr %spare, i64 1
        store <2 x ptr> %q, ptr %list
        %second = getelementptr ptr, ptr %list, i32 1
        %a = load ptr, ptr %list
        %b = load ptr, ptr %second
        store float 1.0, ptr %a
        store float 1.0, ptr %b)"},
    {"AValueKeptInAVariable", R"(
        %kept = alloca i64
        %m = and i64 %n, 1023
        store i64 %m, ptr %kept
        br label %later
    later:
        %again = load i64, ptr %kept
        %p = getelementptr i8, ptr %buffer, i64 %again
        store i8 1, ptr %p)"},
    {"APointerKeptAroundALoop", R"(
        %kept = alloca ptr
        %o = load ptr, ptr %record
        br label %loop
    loop:
        %p = phi ptr [ %buffer, %0 ], [ %next, %end ]
        store ptr %p, ptr %kept
        %c = icmp eq i32 %i, 3
        br i1 %c, label %some, label %end
    some:
        %again = load ptr, ptr %kept
        store i8 1, ptr %again
        br label %end
    end:
        %old = load ptr, ptr %kept
        %next = select i1 %c, ptr %o, ptr %old
        store i8 1, ptr %next
        br label %loop
    never:)"},
};

TEST(ConfinementTests, WhatIsProvenStaysAsItIs) {
    for (const Body& body : proven) {
        SCOPED_TRACE(body.name);
        Function function(body);
        EXPECT_TRUE(function.isConfined());
        const std::size_t size = function.size();
        function.confine();
        EXPECT_EQ(function.size(), size);
    }
}

constexpr Body wild[] = {
    {"AParameter", "store i32 1, ptr %any"},
    {"Null", "store i32 1, ptr getelementptr (i8, ptr null, i64 16)"},
    {"ANumber", "%p = inttoptr i64 %n to ptr\nstore i32 1, ptr %p"},
    {"AnIndexOf64Bits", "%p = getelementptr i32, ptr %buffer, i64 %n\nstore i32 1, ptr %p"},
    {"AnIndexThatReachesTooFar", R"(
        %w = zext i32 %i to i64
        %p = getelementptr [64 x i8], ptr %buffer, i64 %w
        store i32 1, ptr %p)"},
    {"AnIndexThatReachesTooFarInSteps", R"(
        %p = getelementptr i8, ptr %buffer, i64 137438953472
        %q = getelementptr i8, ptr %p, i64 137438953472
        store i32 1, ptr %q)"},
    {"APointerInMemory", "%p = load ptr, ptr %buffer\nstore i32 1, ptr %p"},
    {"HalfOfTwoPointersOfTheRecord", R"(
        %r = getelementptr i8, ptr %record, i64 4
        %p = load ptr, ptr %r
        store i32 1, ptr %p)"},
    {"APointerThatWalks", R"(
        br label %loop
    loop:
        %p = phi ptr [ %buffer, %0 ], [ %next, %loop ]
        store i8 1, ptr %p
        %next = getelementptr i8, ptr %p, i64 1
        %c = icmp ne ptr %next, %any
        br i1 %c, label %loop, label %end
    end:)"},
    {"APointerThatWalksThroughAVariable", R"(
        %kept = alloca ptr
        br label %loop
    loop:
        %p = phi ptr [ %buffer, %0 ], [ %next, %loop ]
        store ptr %p, ptr %kept
        %again = load ptr, ptr %kept
        store i8 1, ptr %again
        %next = getelementptr i8, ptr %again, i64 1
        %c = icmp ne ptr %next, %any
        br i1 %c, label %loop, label %end
    end:)"},
    {"AListThatIsNotWritten", R"(
        %list = alloca [2 x ptr]
        %c = icmp eq i32 %i, 3
        br i1 %c, label %write, label %read
    write:
        store ptr %buffer, ptr %list
        br label %read
    read:
        %p = load ptr, ptr %list
        store i32 1, ptr %p)"},
    {"AReturnAddress", "%p = call ptr @llvm.addressofreturnaddress.p0()\nstore i64 1, ptr %p",
     "declare ptr @llvm.addressofreturnaddress.p0()"},
    {"LanesOfNumbers", R"(
        %v = insertelement <2 x i64> zeroinitializer, i64 %n, i64 0
        %p = inttoptr <2 x i64> %v to <2 x ptr>
        call void @llvm.masked.scatter.v2i32.v2p0(<2 x i32> zeroinitializer, <2 x ptr> %p, i32 1,
            <2 x i1> <i1 1, i1 1>))",
     "declare void @llvm.masked.scatter.v2i32.v2p0(<2 x i32>, <2 x ptr>, i32, <2 x i1>)"},
    {"Atomics", "%r = atomicrmw add ptr %any, i32 1 monotonic"},
    {"Copies", "call void @llvm.memcpy.p0.p0.i64(ptr %buffer, ptr %any, i64 64, i1 false)",
     "declare void @llvm.memcpy.p0.p0.i64(ptr, ptr, i64, i1)"},
};

TEST(ConfinementTests, WildAddressesAreConfined) {
    for (const Body& body : wild) {
        SCOPED_TRACE(body.name);
        Function function(body);
        EXPECT_FALSE(function.isConfined());
        function.confine();
        EXPECT_TRUE(function.isConfined());
    }
}

constexpr Body refused[] = {
    {"WritingTheRecord", "store ptr %any, ptr %record"},
    {"ReadingBehindTheRecord", "%p = getelementptr i8, ptr %record, i64 16\n%v = load i32, ptr %p"},
    {"AnIndexIntoAnArray", R"(
        %a = alloca [8 x i32]
        %p = getelementptr i32, ptr %a, i32 %i
        store i32 1, ptr %p)"},
    {"OneElementTooMany", R"(
        %a = alloca [8 x i32]
        %c = call i32 @llvm.umin.i32(i32 %i, i32 8)
        %p = getelementptr i32, ptr %a, i32 %c
        store i32 1, ptr %p)",
     "declare i32 @llvm.umin.i32(i32, i32)"},
    {"WritingATable", "store i32 1, ptr @table", "@table = constant i32 4"},
    {"AVariableOfAllThreads", "store i32 1, ptr @variable", "@variable = global i32 4"},
    {"CallsByPointer", "call void %any()"},
    {"CallsOfTheProcess", "call void @system()", "declare void @system()"},
    {"InlineAssembly", "call void asm sideeffect \"syscall\", \"\"()"},
    {"JumpTables", "switch i32 %i, label %a [ i32 1, label %a i32 2, label %a ]\na:"},
    {"CopiesOfAnyLength",
     "call void @llvm.memcpy.p0.p0.i64(ptr %buffer, ptr %buffer, i64 %n, i1 false)",
     "declare void @llvm.memcpy.p0.p0.i64(ptr, ptr, i64, i1)"},
    {"AStackThatIsMoved", "call void @llvm.stackrestore.p0(ptr %any)",
     "declare void @llvm.stackrestore.p0(ptr)"},
    {"AnArrayOfAnyLength", "%a = alloca i32, i64 %n"},
};

TEST(ConfinementTests, WhatCannotBeMendedIsRefused) {
    for (const Body& body : refused) {
        SCOPED_TRACE(body.name);
        Function function(body);
        EXPECT_FALSE(function.isConfined());
        function.confine();
        EXPECT_FALSE(function.isConfined());
    }
}

} // namespace
} // namespace tests
