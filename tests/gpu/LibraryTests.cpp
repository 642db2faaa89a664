// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/gpu/DeviceTest.h"

#include <array>

using gpu::StorageMode;

namespace test {
namespace {

class LibraryTest : public DeviceTest {};
SL42_ON_EVERY_DEVICE(LibraryTest);

TEST_P(LibraryTest, ErrorsCarryThePositionInTheText) {
    const std::string start = "kernel void run(device float* x [[buffer(0)]]) {\n  x[0] = ";
    const auto library = gpu::waitForLibrary(*device, text(start + "missing;\n}\n"));
    ASSERT_FALSE(library);
    EXPECT_TRUE(library.error().message.starts_with("program_source:4:10: error:"))
        << library.error().message;
    EXPECT_TRUE(gpu::waitForLibrary(*device, text(start + "1;\n}\n")));
    EXPECT_FALSE(gpu::waitForLibrary(*device, "#include \"/etc/passwd\"\n"));
}

TEST_P(LibraryTest, ReflectionComesFromTheText) {
    const auto all =
        library("kernel void second(texture2d<float, access::write> image [[texture(3)]],"
                " device float* data [[buffer(7)]], uint2 position [[thread_position_in_grid]])"
                " { image.write(float4(data[0]), position); }\n"
                "kernel void first(constant float& x [[buffer(0)]], device float* y [[buffer(1)]])"
                " { y[0] = x; }\n");
    EXPECT_EQ(all->functionNames(), (std::vector<std::string>{"second", "first"}));
    const auto function = all->makeFunction("second");
    ASSERT_TRUE(function);
    EXPECT_EQ((*function)->name(), "second");
    std::string arguments;
    for (const gpu::Argument& each : (*function)->arguments())
        arguments += each.name + (each.kind == gpu::ArgumentKind::Texture ? " texture " : " ") +
                     std::to_string(each.index) + "; ";
    EXPECT_EQ(arguments, "image texture 3; data 7; ");
    EXPECT_FALSE(all->makeFunction("third"));
}

TEST_P(LibraryTest, FunctionConstantsSpecialise) {
    const std::tuple<const char*, gpu::DataType, std::array<std::uint8_t, 4>, float> cases[] = {
        {"bool", gpu::DataType::Bool, {1, 9, 9, 9}, 1},
        {"char", gpu::DataType::Char, {0xFE, 9, 9, 9}, -2},
        {"ushort", gpu::DataType::UShort, {0x34, 0x12, 9, 9}, 0x1234},
        {"int", gpu::DataType::Int, {0xFE, 0xFF, 0xFF, 0xFF}, -2},
        {"half", gpu::DataType::Half, {0x00, 0x3C, 9, 9}, 1},
        {"float", gpu::DataType::Float, {0, 0, 0x80, 0x3F}, 1}};
    for (const auto& [name, type, bytes, expected] : cases) {
        const std::string body = "constant " + std::string(name) +
                                 " value [[function_constant(3)]];"
                                 "constant bool negative [[function_constant(1)]];"
                                 "kernel void run(device float* data [[buffer(0)]])"
                                 " { data[0] = negative ? -float(value) : float(value); }";
        const auto buffer = device->makeBuffer(4, StorageMode::Shared);
        gpu::FunctionConstantValues constants;
        constants.setConstantValue(3, type, bytes.data());
        for (const bool negative : {false, true}) {
            constants.setBool(1, negative);
            expectCompleted(*dispatch(pipeline(body, constants), {buffer}, 1));
            EXPECT_EQ(valuesIn<float>(buffer)[0], negative ? -expected : expected) << name;
        }
        gpu::FunctionConstantValues incomplete;
        incomplete.setBool(1, true);
        EXPECT_FALSE(library(body)->makeFunction("run", incomplete));
    }
}

TEST_P(LibraryTest, OneTextIsCompiledOnce) {
    const std::string body = "kernel void run(device int* data [[buffer(0)]]) { data[0] = 77; }";
    const auto first = library(body);
    EXPECT_GT(first->compileTimes().frontEnd, 0);
    EXPECT_EQ(library(body)->compileTimes().frontEnd, 0);
    EXPECT_GT(pipeline(body)->compileTimes().codeGeneration, 0);
    EXPECT_EQ(pipeline(body)->compileTimes().codeGeneration, 0);
}

TEST_P(LibraryTest, PipelinesAreMadeAtTheSameTime) {
    const auto all = library("constant int factor [[function_constant(0)]];"
                             "kernel void run(device int* data [[buffer(0)]])"
                             " { data[0] = 100 + factor; }");
    const auto function = [&](int factor) {
        gpu::FunctionConstantValues constants;
        constants.setConstantValue(0, gpu::DataType::Int, &factor);
        return *all->makeFunction("run", constants);
    };
    std::vector<gpu::Awaited<gpu::ComputePipelineState>> pending;
    for (int i = 0; i < 12; ++i) // more than any device makes at a time, and each of them twice
        pending.push_back(gpu::startPipeline(*device, function(i / 2)));
    gpu::startPipeline(*device, function(6)); // nobody waits for this one
    const auto buffer = device->makeBuffer(4, StorageMode::Shared);
    for (int i = 11; i >= 0; --i) {
        const auto made = pending[static_cast<std::size_t>(i)].get();
        ASSERT_TRUE(made) << made.error().message;
        EXPECT_EQ((*made)->compileTimes().codeGeneration > 0, i % 2 == 0) << "made once";
        expectCompleted(*dispatch(*made, {buffer}, 1));
        EXPECT_EQ(valuesIn<std::int32_t>(buffer)[0], 100 + i / 2);
    }
    EXPECT_TRUE(gpu::waitForPipeline(*device, function(6)));
    EXPECT_FALSE(gpu::waitForPipeline(*device, nullptr));
}

TEST_P(LibraryTest, MoreTextsThanTheCacheHoldsPassWithoutHarm) {
    const auto buffer = device->makeBuffer(4, StorageMode::Shared);
    for (int i = 0; i < 120; ++i) {
        const std::string body = "kernel void run(device int* data [[buffer(0)]]) { data[0] = " +
                                 std::to_string(i % 40) + "; }";
        expectCompleted(*dispatch(pipeline(body), {buffer}, 1));
        ASSERT_EQ(valuesIn<std::int32_t>(buffer)[0], i % 40);
    }
}

} // namespace
} // namespace test
