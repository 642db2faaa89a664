// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a kernel computes after a single pass has had it, where the pass decides about the result:
// the operands and indices for which C++ has none, and what the bindings say.
#include "compute/kernel/LoopLines.h"
#include "tests/compute/kernel/PassBench.h"

#include <gtest/gtest.h>
#include <llvm/Analysis/LoopInfo.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Instructions.h>

#include <cstring>
#include <vector>

namespace tests {
namespace {

using namespace compute;
using namespace compute::kernel;

struct ResultCase {
    const char* label;
    std::string body; ///< makes %r
    unsigned x;
    const char* stored;
};

void expectStored(std::initializer_list<std::string_view> passes, std::string_view declarations,
                  const std::vector<ResultCase>& cases) {
    for (const ResultCase& row : cases) {
        PassBench bench(
            makeOneDimensional(row.body + "\nstore i32 %r, ptr %out\nret void", declarations));
        ASSERT_EQ(bench.run(passes), "") << row.label;
        EXPECT_EQ(bench.stored({row.x, 0}), row.stored) << row.label;
    }
}

constexpr unsigned minusOne = ~0U;

/// A private array of four words: number, number + 1 ...
std::string array(const std::string& name, int number) {
    std::string text = "%" + name + " = alloca [4 x i32]\n";
    for (int i = 0; i < 4; ++i) {
        const std::string element = "%" + name + std::to_string(i);
        text += element + " = getelementptr i32, ptr %" + name + ", i32 " + std::to_string(i);
        text += "\nstore i32 " + std::to_string(number + i) + ", ptr " + element + "\n";
    }
    return text;
}

ResultCase inArray(const char* label, const std::string& address, unsigned x, const char* stored) {
    return {label, array("a", 10) + array("b", 20) + address + "\n%r = load i32, ptr %p", x,
            stored};
}

TEST(PassResultTests, ClampIndicesMeansTheLastElement) {
    const std::string variable = "%p = getelementptr [4 x i32], ptr %a, i32 0, i32 %x";
    expectStored(
        {"bindParameters", "clampIndices"},
        "@table = internal constant [2 x i32] [i32 30, i32 31]\n"
        "declare i32 @llvm.umin.i32(i32, i32)",
        {
            inArray("the last index", variable, 3, "13"),
            inArray("an index of the length", variable, 4, "13"),
            inArray("a negative index", variable, minusOne, "13"),
            inArray("a constant of the length",
                    "%p = getelementptr [4 x i32], ptr %a, i32 0, i32 4", 0, "13"),
            inArray("a bound of the length",
                    "%i = call i32 @llvm.umin.i32(i32 %x, i32 4)\n"
                    "%p = getelementptr [4 x i32], ptr %a, i32 0, i32 %i",
                    9, "13"),
            inArray("an inner index",
                    "%p = getelementptr [2 x [2 x i32]], ptr %a, i32 0, i32 0, i32 %x", 2, "11"),
            inArray("an outer index",
                    "%p = getelementptr [2 x [2 x i32]], ptr %a, i32 0, i32 %x, i32 0", 2, "12"),
            inArray("either of two addresses",
                    "%pa = getelementptr [4 x i32], ptr %a, i32 0, i32 %x\n"
                    "%q = getelementptr [4 x i32], ptr %b, i32 0, i32 %x\n"
                    "%c = icmp eq i32 %x, 5\n%p = select i1 %c, ptr %q, ptr %pa",
                    5, "23"),
            inArray("a table",
                    "%p = select i1 true, ptr getelementptr ([2 x i32], ptr @table, i32 0, i32 2), "
                    "ptr %a",
                    0, "31"),
        });
}

TEST(PassResultTests, BoundIndicesKeepsAccessesInTheirVariable) {
    const std::string walk = "%p = getelementptr i32, ptr %a, i32 %x";
    const auto either = [](const char* factor) {
        return std::string("%odd = and i32 %x, 1\n%isOdd = icmp ne i32 %odd, 0\n"
                           "%e = select i1 %isOdd, ptr %a, ptr %b\n%i = mul i32 %odd, ") +
               factor + "\n%p = getelementptr i32, ptr %e, i32 %i";
    };
    const std::string sizes = "%small = alloca i32\nstore i32 5, ptr %small\n"
                              "%c = icmp ult i32 %x, 2\n%e = select i1 %c, ptr %small, ptr %a\n"
                              "%p = getelementptr i32, ptr %e, i32 %x";
    const std::string path = "%c = icmp ult i32 %x, 2\nbr i1 %c, label %one, label %other\n"
                             "one:\nbr label %join\nother:\nbr label %join\n"
                             "join:\n%e = phi ptr [ %a, %one ], [ %b, %other ]\n"
                             "%p = getelementptr i32, ptr %e, i32 %x";
    expectStored({"bindParameters", "inlineCalls", "boundIndices"}, "",
                 {
                     inArray("the last element", walk, 3, "13"),
                     inArray("one element too far", walk, 4, "13"),
                     inArray("in front of the variable", walk, minusOne, "13"),
                     inArray("across the end", "%p = getelementptr i8, ptr %a, i32 %x", 13, "13"),
                     inArray("one of two, one element too far", either("4"), 1, "0"),
                     inArray("one of two, far away", either("8"), 1, "0"),
                     inArray("one of two, the last element", either("3"), 1, "13"),
                     inArray("one of two, the other one", either("4"), 2, "20"),
                     inArray("the smaller one, inside", sizes, 0, "5"),
                     inArray("the smaller one, outside", sizes, 1, "0"),
                     inArray("the larger one", sizes, 3, "13"),
                     inArray("by path, the last element", path, 3, "23"),
                     inArray("by path, one element too far", path, 4, "0"),
                     {"an access larger than its variable",
                      "%v = alloca i32\nstore i32 5, ptr %v\n%w = load i64, ptr %v\n"
                      "%h = lshr i64 %w, 32\n%r = trunc i64 %h to i32",
                      0, "0"},
                 });
}

TEST(PassResultTests, DefineArithmeticGivesEveryOperationAResult) {
    expectStored(
        {"bindParameters", "defineArithmetic"}, "",
        {
            {"division by zero", "%r = sdiv i32 7, %x", 0, "0"},
            {"remainder by zero", "%r = urem i32 7, %x", 0, "0"},
            {"lowest by -1", "%r = sdiv i32 -2147483648, %x", minusOne, "-2147483648"},
            {"amount of the width", "%r = shl i32 3, %x", 32, "3"},
            {"a width that is no power of two",
             "%t = trunc i32 %x to i24\n%s = shl i24 1, %t\n%r = zext i24 %s to i32", 25, "2"},
            {"NaN", "%f = bitcast i32 %x to float\n%r = fptosi float %f to i32", 0x7FC00000, "0"},
            {"a lane behind the vector", "%r = extractelement <2 x i32> <i32 4, i32 5>, i32 %x", 2,
             "5"},
        });
}

TEST(PassResultTests, SpecialiseConstantsReadsValuesByTheirType) {
    const struct {
        const char* type;
        DataType kind;
        std::uint32_t bits;
        const char* conversion;
        const char* stored;
    } cases[] = {
        {"i8", DataType::UChar, 0xFFFFFF80, "zext i8 %v to i32", "128"},
        {"i16", DataType::Short, 0xFFFE, "sext i16 %v to i32", "-2"},
        {"half", DataType::Half, 0x4200, "fptosi half %v to i32", "3"},
        {"float", DataType::Float, 0x42280000, "fptosi float %v to i32", "42"},
    };
    for (const auto& row : cases) {
        Program program = makeOneDimensional(std::string("%v = load ") + row.type +
                                                 ", ptr @c\n%r = " + row.conversion +
                                                 "\nstore i32 %r, ptr %out\nret void",
                                             std::string("@c = external constant ") + row.type);
        program.constants = {{.name = "c", .symbol = "c", .index = 1, .type = row.kind}};
        ConstantValue value{.type = row.kind};
        std::memcpy(value.bytes.data(), &row.bits, sizeof row.bits);
        PassBench bench(std::move(program), {{1, value}});
        ASSERT_EQ(bench.run({"specialiseConstants", "bindParameters"}), "");
        EXPECT_EQ(bench.stored({0, 0}), row.stored) << row.type;
    }
}

TEST(PassResultTests, BindParametersComputesThreadAttributes) {
    // The thread at (9, 5) of a grid of 10 x 7 with threadgroups of 4 x 3; its own is 2 x 3.
    const struct {
        ParameterKind kind;
        const char* x;
        const char* y;
    } cases[] = {
        {ParameterKind::ThreadPositionInGrid, "9", "5"},
        {ParameterKind::ThreadsPerGrid, "10", "7"},
        {ParameterKind::ThreadPositionInThreadgroup, "1", "2"},
        {ParameterKind::ThreadgroupPositionInGrid, "2", "1"},
        {ParameterKind::ThreadsPerThreadgroup, "2", "3"},
        {ParameterKind::ThreadgroupsPerGrid, "3", "3"},
        {ParameterKind::ThreadIndexInThreadgroup, "5", nullptr},
    };
    for (const auto& row : cases)
        for (const std::string component : {"0", "1"}) {
            const char* expected = component == "0" ? row.x : row.y;
            if (expected == nullptr)
                continue;
            const bool isVector = row.y != nullptr;
            const std::string read = isVector ? "%p = getelementptr i32, ptr %a, i32 " + component +
                                                    "\n%r = load i32, ptr %p\n"
                                              : "%r = add i32 %a, 0\n";
            PassBench bench(makeProgram("define void @k(ptr %out, " +
                                            std::string(isVector ? "ptr" : "i32") + " %a) {\n" +
                                            read + "store i32 %r, ptr %out\nret void }",
                                        {buffer(0), attribute(row.kind, isVector ? 2 : 1)}));
            ASSERT_EQ(bench.run({"bindParameters"}), "");
            EXPECT_EQ(bench.stored({9, 5}), expected)
                << static_cast<int>(row.kind) << " component " << component;
        }
}

TEST(PassResultTests, PreserveLinesNotesLoopsAndMendsAccesses) {
    PassBench bench(makeOneDimensional(R"(
        br label %loop, !dbg !5
    loop:
        %v = load volatile i32, ptr %out
        %w = add i32 %v, 1, !dbg !6
        %c = icmp ult i32 %w, %x, !dbg !6
        br i1 %c, label %loop, label %done, !dbg !6, !llvm.loop !7
    done:
        ret void)",
                                       R"(
        !llvm.dbg.cu = !{!0}
        !llvm.module.flags = !{!8}
        !0 = distinct !DICompileUnit(language: DW_LANG_C_plus_plus, file: !1)
        !1 = !DIFile(filename: "program_source", directory: "")
        !2 = !DISubroutineType(types: !{})
        !3 = distinct !DISubprogram(name: "k", file: !1, line: 1, type: !2, unit: !0,
                                    spFlags: DISPFlagDefinition)
        !5 = !DILocation(line: 2, scope: !3)
        !6 = !DILocation(line: 7, scope: !3)
        !7 = distinct !{!7, !9}
        !8 = !{i32 2, !"Debug Info Version", i32 3}
        !9 = !DILocation(line: 4, scope: !3))"));
    ASSERT_EQ(bench.run({"bindParameters", "inlineCalls", "preserveLines"}), "");
    const auto& loops = bench.analyses().getResult<llvm::LoopAnalysis>(bench.entry());
    ASSERT_FALSE(loops.empty()) << bench.text();
    const llvm::DebugLoc begin = beginOf(**loops.begin());
    ASSERT_TRUE(begin);
    EXPECT_EQ(begin.getLine(), 4u);
    for (const llvm::Instruction& instruction : llvm::instructions(bench.entry()))
        if (llvm::isa<llvm::LoadInst>(instruction) && instruction.isVolatile()) {
            ASSERT_TRUE(instruction.getDebugLoc());
            EXPECT_EQ(instruction.getDebugLoc().getLine(), 7u);
        }
}

} // namespace
} // namespace tests
