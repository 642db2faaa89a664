// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Each kind of kernel parameter arrives as the program declared it.
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace compute;
using kernel::ParameterKind;

/// A kernel that writes its one attribute to out[index] of a 7 x 5 x 3 grid in 4 x 2 x 2 groups.
std::vector<std::array<std::uint32_t, 3>>
attributeOfAllThreads(ParameterKind kind, std::uint8_t components, std::uint8_t bytes) {
    const std::string type = "i" + std::to_string(bytes * 8);
    std::string text = "define spir_func void @k(ptr %out, ptr byval([4 x i32]) %at, ";
    text += components == 1 ? type + " %value) {\n" : "ptr byval([4 x " + type + "]) %vector) {\n";
    text += R"(
        %x = load i32, ptr %at
        %yp = getelementptr i32, ptr %at, i64 1
        %y = load i32, ptr %yp
        %zp = getelementptr i32, ptr %at, i64 2
        %z = load i32, ptr %zp
        %a = mul i32 %z, 5
        %b = add i32 %a, %y
        %c = mul i32 %b, 7
        %index = add i32 %c, %x
        %place = getelementptr [3 x i32], ptr %out, i32 %index
    )";
    for (int i = 0; i < components; ++i) {
        const std::string n = std::to_string(i);
        std::string value = "%value";
        if (components > 1) {
            text += "%p" + n + " = getelementptr " + type + ", ptr %vector, i64 " + n + "\n";
            text += "%v" + n + " = load " + type + ", ptr %p" + n + "\n";
            value = "%v" + n;
        }
        if (bytes == 2) {
            text += "%w" + n + " = zext i16 " + value + " to i32\n";
            value = "%w" + n;
        }
        text += "%o" + n + " = getelementptr i32, ptr %place, i64 " + n + "\n";
        text += "store i32 " + value + ", ptr %o" + n + "\n";
    }
    text += "ret void }";
    const auto compiled = tests::compile(tests::makeProgram(
        text, {tests::buffer(0), tests::attribute(ParameterKind::ThreadPositionInGrid, 3),
               tests::attribute(kind, components, bytes)}));
    std::vector<std::array<std::uint32_t, 3>> out(7 * 5 * 3);
    if (compiled)
        compiled->run(tests::bind(out), {7, 5, 3}, {4, 2, 2});
    return out;
}

using Three = std::array<std::uint32_t, 3>;

/// The value of the attribute for the thread at (6, 4, 2), in the cut-off group at the far corner,
/// and at (1, 1, 1), in a whole one.
struct AttributeCase {
    ParameterKind kind;
    Three atCorner;
    Three atOne;
};

TEST(ParameterTests, ThreadAttributes) {
    const AttributeCase cases[] = {
        {ParameterKind::ThreadPositionInGrid, {6, 4, 2}, {1, 1, 1}},
        {ParameterKind::ThreadsPerGrid, {7, 5, 3}, {7, 5, 3}},
        {ParameterKind::ThreadPositionInThreadgroup, {2, 0, 0}, {1, 1, 1}},
        {ParameterKind::ThreadgroupPositionInGrid, {1, 2, 1}, {0, 0, 0}},
        {ParameterKind::ThreadsPerThreadgroup, {3, 1, 1}, {4, 2, 2}},
        {ParameterKind::ThreadgroupsPerGrid, {2, 3, 2}, {2, 3, 2}},
    };
    for (const AttributeCase& row : cases)
        for (const std::uint8_t components : {1, 2, 3})
            for (const std::uint8_t bytes : {2, 4}) {
                const auto out = attributeOfAllThreads(row.kind, components, bytes);
                for (std::size_t axis = 0; axis < components; ++axis) {
                    EXPECT_EQ(out[(2 * 5 + 4) * 7 + 6][axis], row.atCorner[axis])
                        << int(row.kind) << " axis " << axis << " bytes " << int(bytes);
                    EXPECT_EQ(out[(1 * 5 + 1) * 7 + 1][axis], row.atOne[axis])
                        << int(row.kind) << " axis " << axis << " bytes " << int(bytes);
                }
            }
    const auto index = attributeOfAllThreads(ParameterKind::ThreadIndexInThreadgroup, 1, 4);
    EXPECT_EQ(index[(2 * 5 + 4) * 7 + 6][0], 2u);
    EXPECT_EQ(index[(1 * 5 + 1) * 7 + 1][0], (1u * 2 + 1) * 4 + 1);
}

TEST(ParameterTests, BuffersAndTexturesByIndex) {
    // Writes the width of level 1 of texture 4 and the first number of buffer 30.
    const auto compiled = tests::compile(
        tests::makeProgram(R"(
        define spir_func void @k(ptr byval({ ptr }) %image, ptr dereferenceable(4) %last,
                                 ptr %out) {
            %view = load ptr, ptr %image
            %wp = getelementptr i8, ptr %view, i64 40
            %w = load i32, ptr %wp
            store i32 %w, ptr %out
            %n = load i32, ptr %last
            %o = getelementptr i32, ptr %out, i64 1
            store i32 %n, ptr %o
            ret void
        })",
                           {tests::texture(4), tests::buffer(30), tests::buffer(7)}));
    ASSERT_TRUE(compiled);
    kernel::TextureView view;
    view.levels[1].width = 123;
    std::vector<std::uint32_t> last = {77};
    std::vector<std::uint32_t> out(2);
    host::Bindings bindings;
    bindings.textures[4] = &view;
    bindings.buffers[30] = reinterpret_cast<std::byte*>(last.data());
    bindings.buffers[7] = reinterpret_cast<std::byte*>(out.data());
    compiled->run(bindings, {1, 1, 1}, {1, 1, 1});
    EXPECT_EQ(out[0], 123u);
    EXPECT_EQ(out[1], 77u);
}

TEST(ParameterTests, FunctionConstantsOfEveryType) {
    using kernel::ConstantType;
    struct Case {
        ConstantType type;
        const char* memory; ///< type in memory
        const char* read;   ///< makes i32 %r of %v
        std::array<std::uint8_t, 4> bytes;
        std::uint32_t expected;
    };
    const Case cases[] = {
        {ConstantType::Bool, "i8", "%r = zext i8 %v to i32", {1, 9, 9, 9}, 1},
        {ConstantType::Char, "i8", "%r = sext i8 %v to i32", {0xFE, 9, 9, 9}, 0xFFFFFFFE},
        {ConstantType::UShort, "i16", "%r = zext i16 %v to i32", {0x34, 0x12, 9, 9}, 0x1234},
        {ConstantType::Int, "i32", "%r = add i32 %v, 0", {1, 2, 3, 0x84}, 0x84030201},
        {ConstantType::Half,
         "half",
         "%w = fpext half %v to float\n%r = bitcast float %w to i32",
         {0x00, 0x3C, 9, 9},
         0x3F800000},
        {ConstantType::Float,
         "float",
         "%r = bitcast float %v to i32",
         {0, 0, 0x80, 0x3F},
         0x3F800000},
    };
    for (const Case& row : cases) {
        const std::string type = row.memory;
        auto program = tests::makeOneDimensional("%v = load " + type + ", ptr @mode\n" + row.read +
                                                     "\nstore i32 %r, ptr %out\nret void",
                                                 "@mode = external constant " + type);
        program.constants = {{.name = "mode", .symbol = "mode", .index = 3, .type = row.type}};
        kernel::ConstantValue value{.type = row.type};
        std::memcpy(value.bytes.data(), row.bytes.data(), 4);
        const auto compiled = tests::compile(program, {{3, value}});
        ASSERT_TRUE(compiled);
        std::vector<std::uint32_t> out(1);
        compiled->run(tests::bind(out), {}, {});
        EXPECT_EQ(out[0], row.expected) << row.memory;
    }
}

} // namespace
