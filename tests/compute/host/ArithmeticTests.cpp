// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Operations on the operands for which C++ leaves the result open; random programs try the ordinary
// ones. Each row runs three times: with operands that the compiler knows, with operands that only
// the processor sees, and with those in vectors. All must agree.
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

namespace {

constexpr std::uint32_t lowest = 0x80000000u;
constexpr std::uint32_t minusOne = 0xFFFFFFFFu;

struct Case {
    const char* label;
    const char* operation; ///< makes %r of %a and %b
    std::uint32_t a;
    std::uint32_t b;
    std::uint32_t expected;
};

std::uint32_t bits(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

const char* toInt = "%f = bitcast i32 %a to float  %r = fptosi float %f to i32";
const char* toUnsigned = "%f = bitcast i32 %a to float  %r = fptoui float %f to i32";
const char* toByte =
    "%f = bitcast i32 %a to float  %n = fptoui float %f to i8  %r = zext i8 %n to i32";
const char* toShort =
    "%f = bitcast i32 %a to float  %n = fptosi float %f to i16  %r = sext i16 %n to i32";

const char* toLong = "%f = bitcast i32 %a to float  %n = fptosi float %f to i64  "
                     "%h = lshr i64 %n, 32  %r = trunc i64 %h to i32";
const char* toUnsignedLong = "%f = bitcast i32 %a to float  %n = fptoui float %f to i64  "
                             "%h = lshr i64 %n, 32  %r = trunc i64 %h to i32";

/// Of the half that the low bits of %a are.
const char* addOneToHalf = "%n = trunc i32 %a to i16  %h = bitcast i16 %n to half  "
                           "%s = fadd half %h, 1.0  %f = fpext half %s to float  "
                           "%r = bitcast float %f to i32";
const char* squareHalf = "%n = trunc i32 %a to i16  %h = bitcast i16 %n to half  "
                         "%s = fmul half %h, %h  %f = fpext half %s to float  "
                         "%r = bitcast float %f to i32";
const char* smaller = "%f = bitcast i32 %a to float  %g = bitcast i32 %b to float  "
                      "%m = call float @llvm.minnum.f32(float %f, float %g)  "
                      "%r = bitcast float %m to i32";
const char* larger = "%f = bitcast i32 %a to float  %g = bitcast i32 %b to float  "
                     "%m = call float @llvm.maxnum.f32(float %f, float %g)  "
                     "%r = bitcast float %m to i32";

const Case cases[] = {
    {"division by zero", "%r = sdiv i32 %a, %b", 7, 0, 0},
    {"lowest by minus one", "%r = sdiv i32 %a, %b", lowest, minusOne, lowest},
    {"unsigned division by zero", "%r = udiv i32 %a, %b", 7, 0, 0},
    {"exact division", "%r = sdiv exact i32 %a, %b", 7, 2, 3},
    {"remainder of lowest", "%r = srem i32 %a, %b", lowest, minusOne, 0},
    {"unsigned remainder by zero", "%r = urem i32 %a, %b", 7, 0, 0},
    {"shift by 40", "%r = shl i32 %a, %b", 1, 40, 256},
    {"shift of a width that is no power of two",
     "%n = trunc i32 %a to i24  %m = trunc i32 %b to i24  %s = shl i24 %n, %m"
     "  %r = zext i24 %s to i32",
     1, 25, 2},
    {"promised no wrap", "%r = add nsw nuw i32 %a, %b", 0x7FFFFFFF, 1, lowest},
    {"leading zeros of 0", "%r = call i32 @llvm.ctlz.i32(i32 %a, i1 true)", 0, 0, 32},
    {"trailing zeros of 0", "%r = call i32 @llvm.cttz.i32(i32 %a, i1 true)", 0, 0, 32},
    {"absolute lowest", "%r = call i32 @llvm.abs.i32(i32 %a, i1 true)", lowest, 0, lowest},
    {"float to int", toInt, bits(-3.99f), 0, minusOne - 2},
    {"NaN to int", toInt, bits(std::numeric_limits<float>::quiet_NaN()), 0, 0},
    {"negative NaN to int", toInt, 0xFFC00001u, 0, 0},
    {"infinity to int", toInt, bits(std::numeric_limits<float>::infinity()), 0, 0x7FFFFFFF},
    {"large to int", toInt, bits(3e9f), 0, 0x7FFFFFFF},
    {"largest that fits", toInt, bits(2147483520.f), 0, 2147483520u},
    {"very negative to int", toInt, bits(-1e20f), 0, lowest},
    {"negative to unsigned", toUnsigned, bits(-5.f), 0, 0},
    {"large to unsigned", toUnsigned, bits(3e9f), 0, 3'000'000'000u},
    {"too large to unsigned", toUnsigned, bits(5e9f), 0, minusOne},
    {"NaN to unsigned", toUnsigned, 0x7FC00000u, 0, 0},
    {"300 to uchar", toByte, bits(300.f), 0, 255},
    {"-1 to uchar", toByte, bits(-1.f), 0, 0},
    {"-40000 to short", toShort, bits(-40000.f), 0, std::uint32_t(-32768)},
    {"-300 to char",
     "%f = bitcast i32 %a to float  %n = fptosi float %f to i8  %r = sext i8 %n to i32",
     bits(-300.f), 0, std::uint32_t(-128)},
    {"largest float to long", toLong, bits(3e38f), 0, 0x7FFFFFFF},
    {"long of more than a word", toLong, bits(-8589934592.f), 0, minusOne - 1},
    {"NaN to ulong", toUnsignedLong, 0x7FC00000u, 0, 0},
    {"ulong of 2 to the 63", toUnsignedLong, bits(9223372036854775808.f), 0, lowest},
    {"infinite half to int",
     "%f = bitcast i32 %a to float  %h = fptrunc float %f to half  "
     "%r = fptosi half %h to i32",
     bits(1e9f), 0, 0x7FFFFFFF},
    {"sum of halves is a half", addOneToHalf, 0x6800, 0, bits(2048.f)},
    {"sum of halves rounds up", addOneToHalf, 0x6801, 0, bits(2052.f)},
    {"product of halves overflows", squareHalf, 0x7B53, 0,
     bits(std::numeric_limits<float>::infinity())},
    {"product of halves below all of them", squareHalf, 0x0010, 0, 0},
    {"product of halves is a small half", squareHalf, 0x1000, 0, bits(0x1p-22f)},
    {"smaller than no number", smaller, 0x7FC00000u, bits(2.f), bits(2.f)},
    {"smaller, and no number", smaller, bits(2.f), 0xFFC00000u, bits(2.f)},
    {"larger than no number", larger, 0x7FC00000u, bits(-2.f), bits(-2.f)},
    {"larger, and no number", larger, bits(-2.f), 0x7FC00000u, bits(-2.f)},
    {"square and sum with one rounding",
     "%f = bitcast i32 %a to float  %g = bitcast i32 %b to float  "
     "%s = call float @llvm.fma.f32(float %f, float %f, float %g)  %r = bitcast float %s to i32",
     bits(0x1.001p0f), bits(-0x1.002p0f), bits(0x1p-24f)},
    {"undefined operand", "%r = or i32 %a, undef", 5, 0, 5},
    {"poison operand", "%r = add i32 %a, poison", 5, 0, 5},
    {"undefined condition", "%r = select i1 undef, i32 1, i32 2", 0, 0, 2},
    {"lane outside a vector",
     "%v = insertelement <2 x i32> zeroinitializer, i32 %a, i32 %b"
     "  %r = extractelement <2 x i32> %v, i32 %b",
     9, 5, 9},
    {"disjoint promise", "%r = or disjoint i32 %a, %b", 3, 1, 3},
    {"narrow without loss", "%n = trunc nuw i32 %a to i8  %r = zext i8 %n to i32", 0x1FF, 0, 0xFF},
    {"not negative", "%w = zext nneg i32 %a to i64  %h = lshr i64 %w, 32  %r = trunc i64 %h to i32",
     minusOne, 0, 0},
};

std::string onePerLine(std::string text) {
    for (std::size_t at = 0; (at = text.find("  ", at)) != std::string::npos;)
        text.replace(at, 2, "\n");
    return text;
}

/// Who knows the operands.
enum class Seen { ByCompiler, ByProcessor, ByThread };

constexpr std::uint32_t threads = 19;

/// All rows in one kernel: row i reads a[i] and b[i], or has them built in, and writes out[i]. With
/// Seen::ByThread each thread has such arrays of its own, one after the other.
std::string kernelText(Seen seen) {
    std::string text = "declare i32 @llvm.ctlz.i32(i32, i1)\ndeclare i32 @llvm.cttz.i32(i32, i1)\n"
                       "declare i32 @llvm.abs.i32(i32, i1)\n"
                       "declare float @llvm.fma.f32(float, float, float)\n"
                       "declare float @llvm.minnum.f32(float, float)\n"
                       "declare float @llvm.maxnum.f32(float, float)\n";
    std::string calls = "%row = mul i32 %x, " +
                        std::to_string(seen == Seen::ByThread ? std::size(cases) : 0) + "\n";
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const std::string n = std::to_string(i);
        text += "define spir_func i32 @f" + n + "(i32 %a, i32 %b) {\n" +
                onePerLine(cases[i].operation) + "\nret i32 %r\n}\n";
        const auto operand = [&](const char* name, const char* from, std::uint32_t value) {
            if (seen == Seen::ByCompiler)
                return std::to_string(static_cast<std::int32_t>(value));
            calls += "%i" + n + name + " = add i32 %row, " + n + "\n%p" + n + name +
                     " = getelementptr i32, ptr %" + from + ", i32 %i" + n + name + "\n%v" + n +
                     name + " = load i32, ptr %p" + n + name + "\n";
            return "%v" + n + name;
        };
        const std::string a = operand("a", "first", cases[i].a);
        const std::string b = operand("b", "second", cases[i].b);
        calls += "%r" + n + " = call spir_func i32 @f" + n + "(i32 " + a + ", i32 " + b + ")\n%i" +
                 n + " = add i32 %row, " + n + "\n%o" + n +
                 " = getelementptr i32, ptr %out, i32 %i" + n + "\nstore i32 %r" + n + ", ptr %o" +
                 n + "\n";
    }
    return text + "define spir_func void @k(ptr %out, ptr %first, ptr %second, i32 %x) {\n" +
           calls + "ret void\n}\n";
}

void expectAllRows(Seen seen) {
    const std::uint32_t copies = seen == Seen::ByThread ? threads : 1;
    std::vector<std::uint32_t> out(copies * std::size(cases), 0xDEAD);
    std::vector<std::uint32_t> first;
    std::vector<std::uint32_t> second;
    for (std::uint32_t i = 0; i < copies; ++i)
        for (const Case& row : cases) {
            first.push_back(row.a);
            second.push_back(row.b);
        }
    const auto compiled =
        tests::compile(tests::makeProgram(kernelText(seen), {tests::buffer(0), tests::buffer(1),
                                                             tests::buffer(2), tests::position()}));
    ASSERT_TRUE(compiled);
    compiled->run(tests::bind(out, first, second), {.width = copies}, {});
    for (std::size_t i = 0; i < out.size(); ++i) {
        const Case& row = cases[i % std::size(cases)];
        EXPECT_EQ(out[i], row.expected) << row.label << " in thread " << i / std::size(cases);
    }
}

TEST(ArithmeticTests, OperandsThatOnlyTheProcessorSees) {
    expectAllRows(Seen::ByProcessor);
}
TEST(ArithmeticTests, OperandsThatTheCompilerKnows) {
    expectAllRows(Seen::ByCompiler);
}

TEST(ArithmeticTests, OperandsThatDifferByThread) {
    expectAllRows(Seen::ByThread);
}

TEST(ArithmeticTests, DenormalNumbersAreZeroAndTheCallersModeComesBack) {
    const auto compiled = tests::compile(tests::makeOneDimensional(R"(
        %v = load float, ptr %out
        %r = fmul float %v, 1.0e+10
        store float %r, ptr %out
        ret void)"));
    ASSERT_TRUE(compiled);
    std::vector<float> out = {1e-40f};
    compiled->run(tests::bind(out), {}, {});
    EXPECT_EQ(out[0], 0.f);
    volatile float small = 1e-40f;
    EXPECT_GT(small * 1e10f, 0.f);
}

TEST(ArithmeticTests, HalvesConvertExactlyAndFloatsToTheNearest) {
    const auto compiled =
        tests::compile(tests::makeProgram(R"(
        define spir_func void @k(ptr %halves, ptr %wide, ptr %floats, ptr %narrow, i32 %x) {
            %a = getelementptr half, ptr %halves, i32 %x
            %h = load half, ptr %a
            %w = fpext half %h to float
            %b = getelementptr float, ptr %wide, i32 %x
            store float %w, ptr %b
            %c = getelementptr float, ptr %floats, i32 %x
            %f = load float, ptr %c
            %n = fptrunc float %f to half
            %d = getelementptr half, ptr %narrow, i32 %x
            store half %n, ptr %d
            ret void
        })",
                                          {tests::buffer(0), tests::buffer(1), tests::buffer(2),
                                           tests::buffer(3), tests::position()}));
    ASSERT_TRUE(compiled);
    constexpr std::uint32_t count = 65536;
    std::vector<std::uint16_t> halves(count);
    std::vector<std::uint32_t> wide(count);
    std::vector<std::uint32_t> floats(count);
    std::vector<std::uint16_t> narrow(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        halves[i] = static_cast<std::uint16_t>(i);
        // Just below, at and just above what lies between two halves, and numbers of all sizes.
        const float half = static_cast<float>(std::bit_cast<_Float16>(halves[i]));
        floats[i] = i % 2 == 0 ? bits(half) + 0x0FFF + i / 2 % 3 : i * 65537;
    }
    compiled->run(tests::bind(halves, wide, floats, narrow), {.width = count}, {});
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto half = std::bit_cast<_Float16>(halves[i]);
        const auto number = std::bit_cast<float>(floats[i]);
        if (half == half)
            ASSERT_EQ(wide[i], bits(static_cast<float>(half))) << i;
        else
            ASSERT_TRUE(std::isnan(std::bit_cast<float>(wide[i]))) << i;
        if (number == number)
            ASSERT_EQ(narrow[i], std::bit_cast<std::uint16_t>(static_cast<_Float16>(number)))
                << number;
        else
            ASSERT_EQ(narrow[i] & 0x7E00, 0x7E00) << i;
    }
}

TEST(ArithmeticTests, FallingOffTheEndReturnsZero) {
    const auto compiled = tests::compile(tests::makeOneDimensional(R"(
        %v = load i32, ptr %out
        %r = call spir_func i32 @f(i32 %v)
        store i32 %r, ptr %out
        ret void)",
                                                                   R"(
        define spir_func i32 @f(i32 %a) {
            %c = icmp eq i32 %a, 1
            br i1 %c, label %yes, label %no
        yes:
            ret i32 10
        no:
            unreachable
        })"));
    ASSERT_TRUE(compiled);
    std::vector<std::uint32_t> out = {2};
    compiled->run(tests::bind(out), {}, {});
    EXPECT_EQ(out[0], 0u);
}

} // namespace
