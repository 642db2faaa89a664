// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/gpu/DeviceTest.h"

#include <array>

using gpu::StorageMode;

namespace test {
namespace {

class LibraryTest : public DeviceTest {};
SL42_ON_EVERY_DEVICE(LibraryTest);

// One letter for each of the buffers 0 to 2 and the texture: none, read, write, both. What is kept
// from running is kept because of this, so no way to an address may be overlooked.
TEST_P(LibraryTest, PipelinesTellWhatTheyAccess) {
    const std::pair<const char*, const char*> cases[] = {
        {"b[x] = a[x] * 2;", "rw--"},
        {"b[x] += a[x];", "rb--"},
        {"if (c[0] > 1) b[x] = 0;", "-wr-"},
        {"float unused = a[x] + c[x]; b[x] = 1;", "-w--"},
        {"(x > 3 ? a : b)[x] = 1;", "ww--"},
        {"device float* p = a; for (uint i = 0; i < x; ++i) { p[i] = 1; p = p == a ? c : a; }",
         "w-w-"},
        {"atomic_fetch_add_explicit((device atomic_uint*)b, 1u, memory_order_relaxed);", "-b--"},
        {"image.write(float4(a[x]), uint2(x, 0));", "r--b"},
        {"float own[8]; for (uint i = 0; i < 8; ++i) own[i] = a[i]; b[x] = own[x & 7];", "rw--"},
        {"*(device float*)(ulong(a) ^ 64) = 1;", "bbbb"},
        {"*(device float*)(ulong(x) * 4096) = 1;", "bbbb"},
        {"((device float* device*)a)[0][x] = 1;", "bbbb"},
        {"device float* own[2] = {a, b}; own[x & 1][0] = c[1];", "bbbb"},
    };
    for (const auto& [body, expected] : cases) {
        const auto state = pipeline(
            "kernel void run(device float* a [[buffer(0)]], device float* b [[buffer(1)]],"
            " device float* c [[buffer(2)]], texture2d<float, access::write> image [[texture(0)]],"
            " uint x [[thread_position_in_grid]]) {" +
            std::string(body) + "}");
        ASSERT_TRUE(state) << body;
        std::string found;
        for (const gpu::Argument& argument : state->arguments())
            found += "-rwb"[static_cast<std::size_t>(argument.access)];
        EXPECT_EQ(found, expected) << body;
    }
}

TEST_P(LibraryTest, FunctionConstantsSpecialise) {
    const std::tuple<const char*, gpu::DataType, std::array<std::uint8_t, 4>, float> cases[] = {
        {"bool", gpu::DataType::Bool, {1, 9, 9, 9}, 1},
        {"char", gpu::DataType::Char, {0xFE, 9, 9, 9}, -2},
        {"uchar", gpu::DataType::UChar, {0x80, 9, 9, 9}, 128},
        {"short", gpu::DataType::Short, {0xFE, 0xFF, 9, 9}, -2},
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

TEST_P(LibraryTest, FunctionConstantsCanBeVectors) {
    const std::string body =
        "constant float3 a [[function_constant(0)]];"
        "constant uchar2 b [[function_constant(1)]];"
        "constant bool4 c [[function_constant(2)]];"
        "kernel void run(device float* data [[buffer(0)]]) {"
        " data[0] = a.x * 100 + a.y * 10 + a.z;"
        " data[1] = b.x * 1000 + b.y; data[2] = c.x + 2 * c.y + 4 * c.z + 8 * c.w; }";
    const std::array<float, 3> three{1, 2, 3};
    const std::array<std::uint8_t, 2> two{200, 7};
    const std::array<bool, 4> four{true, false, true, true};
    gpu::FunctionConstantValues constants;
    constants.setConstantValue(0, gpu::DataType::Float3, three.data());
    constants.setConstantValue(1, gpu::DataType::UChar2, two.data());
    constants.setConstantValue(2, gpu::DataType::Bool4, four.data());
    const auto buffer = device->makeBuffer(12, StorageMode::Shared);
    expectCompleted(*dispatch(pipeline(body, constants), {buffer}, 1));
    EXPECT_EQ(valuesIn<float>(buffer)[0], 123);
    EXPECT_EQ(valuesIn<float>(buffer)[1], 200'007);
    EXPECT_EQ(valuesIn<float>(buffer)[2], 13);

    constants.setConstantValue(0, gpu::DataType::Float4, std::array<float, 4>{}.data());
    const auto refused = library(body)->makeFunction("run", constants);
    ASSERT_FALSE(refused);
    EXPECT_NE(refused.error().message.find("is declared float3 but its value is float4"),
              std::string::npos);
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
