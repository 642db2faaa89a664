// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What constructs of the language become. Every module here is also validated.
#include "compute/spirv/Validation.h"
#include "tests/compute/spirv/Programs.h"

#include <gtest/gtest.h>

#include <regex>

namespace {

using tests::assemblyOf;

unsigned count(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    return static_cast<unsigned>(
        std::distance(std::sregex_iterator(text.begin(), text.end(), expression), {}));
}

struct Construct {
    const char* name;
    std::string body; ///< of a kernel with `out`, `in` and `i`
    std::vector<std::pair<const char*, unsigned>> expected; ///< patterns, and how often at least
    // NOLINTNEXTLINE(readability-redundant-member-init): most constructs leave it out
    std::vector<const char*> absent = {};
};

class Constructs : public ::testing::TestWithParam<Construct> {};

std::string kernelOf(const std::string& body) {
    return "kernel void k(device uint* out [[buffer(0)]], const device float* in [[buffer(1)]],\n"
           "              uint i [[thread_position_in_grid]]) {\n" +
           body + "\n}\n";
}

TEST_P(Constructs, HaveTheirInstructions) {
    const std::string text = assemblyOf(kernelOf(GetParam().body));
    for (const auto& [pattern, times] : GetParam().expected)
        EXPECT_GE(count(text, pattern), times) << pattern << "\n" << text;
    for (const char* pattern : GetParam().absent)
        EXPECT_EQ(count(text, pattern), 0U) << pattern << "\n" << text;
}

const std::vector<Construct> constructs{
    {"Store",
     "out[i] = i;",
     {{"OpConvertUToPtr %_ptr_PhysicalStorageBuffer_uint", 1},
      {"OpStore %\\d+ %\\d+ Aligned\\|NonPrivatePointer 4", 1},
      {"OpSelect %ulong", 1}}},
    {"Vector", // one test, one access
     "device float4* v = (device float4*)out; v[i + 1] = v[i] * 2;",
     {{"OpLoad %v4float", 1}, {"OpStore %\\d+ %\\d+ Aligned", 1}, {"OpCompositeConstruct", 1}},
     {"OpLoad %float "}},
    {"NeighboursAreTestedOneByOne",
     "out[i] = uint(in[i] + in[i + 1]);",
     {{"OpLoad %float", 2}},
     {"OpLoad %v2float"}},
    {"If",
     "if (in[i] > 0) out[i] = uint(in[i] * 3); else out[i + 1] = i;",
     {{"OpSelectionMerge", 2}, {"OpFOrdGreaterThan", 1}}},
    {"Loop",
     "uint n = i; for (uint j = 0; j < uint(in[0]); j++) n = n * n + out[n & 7]; out[i] = n;",
     {{"OpLoopMerge", 1}, {"OpPhi %uint", 2}}},
    {"LoopWithTwoExits",
     "uint n = 0; while (true) { if (out[n] == 3) break; if (out[n] == 4) { n = 9; break; } ++n; }"
     "out[i] = n;",
     {{"OpLoopMerge", 1}}},
    {"LoopThatIsLeft", // at once, and with one value
     "float2 z = 0, c = float2(in[0], in[1]); uint n = 0; for (; n < 99; n++) {"
     "float2 s = z * z; if (s.x + s.y > 16) break; z = float2(s.x - s.y, 2 * z.x * z.y) + c; }"
     "out[i] = n;",
     {{"OpLoopMerge", 1}, {"OpBranchConditional", 3}, {"OpPhi %uint", 1}},
     {"OpPhi %bool", "OpPhi %uint [^$]*OpPhi %uint"}},
    {"LoopWithoutEnd", "while (true) out[i] += 1;", {{"OpLoopMerge", 1}, {"OpReturn", 1}}},
    {"PrivateArray",
     "float a[8]; for (int j = 0; j < 8; j++) a[j] = in[j]; out[i] = uint(a[i & 7] + a[out[1] & "
     "7]);",
     {{"OpTypeArray %float %uint_8", 1}, {"OpVariable %_ptr_Function", 1}}},
    {"Table",
     "const int t[5] = {3, 1, 4, 1, 5}; out[i] = t[i % 5];",
     {{"OpConstantComposite", 1}, {"OpVariable %\\S+ Private", 1}}},
    {"Bytes",
     "device uchar* b = (device uchar*)out; b[i] = b[i + 1] + 1;",
     {{"PhysicalStorageBuffer_uchar", 2}, {"Aligned\\|NonPrivatePointer 1", 2}}},
    {"PackedWordsArePutTogether", // nothing says where they lie
     "device packed_float3* p = (device packed_float3*)((device uchar*)out + 1); p[i] = 1;",
     {{"OpConvertUToPtr", 3}}},
    {"Half",
     "half h = half(in[i]); out[i] = as_type<ushort>(h);",
     {{"OpBitcast %uint", 1}},
     {"Float16", "OpTypeFloat 16"}},
    {"Division", "out[i] = int(out[1]) % int(out[2]);", {{"OpSDiv", 1}}, {"OpSRem", "OpSMod"}},
    {"Conversion", "out[i] = uint(in[i]);", {{"OpConvertFToU", 1}, {"OpSelect %float", 1}}},
    {"Fma", "out[i] = as_type<uint>(fma(in[0], in[1], in[2]));", {{"OpFMul %double", 1}}},
    {"Precise",
     "#pragma METAL fp contract(off)\n out[i] = as_type<uint>(in[0] * in[1] + in[2]);",
     {{"NoContraction", 1}}},
    {"Atomics",
     "atomic_fetch_add_explicit((device atomic_uint*)out, i, memory_order_relaxed);",
     {{"OpAtomicIAdd", 1}}},
    {"Bits",
     "out[i] = popcount(i) + clz(i) + ctz(i) + reverse_bits(i);",
     {{"OpBitCount", 1}, {"OpBitReverse", 1}, {"FindUMsb", 1}, {"FindILsb", 1}}},
};

INSTANTIATE_TEST_SUITE_P(All, Constructs, ::testing::ValuesIn(constructs),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Constructs, HalfsAreNativeWhereTheDeviceHasThem) {
    const auto shader = tests::shaderOf(kernelOf("out[i] = uint(half(in[i]) * 2.0h);"),
                                        {.float16 = true, .float64 = true});
    EXPECT_TRUE(shader.requirements.float16);
}

TEST(Constructs, ThreadgroupsShareMemoryAndWait) {
    const std::string text =
        assemblyOf("kernel void k(device uint* out, threadgroup uint* shared [[threadgroup(0)]],\n"
                   "              uint i [[thread_index_in_threadgroup]]) {\n"
                   "  threadgroup uint own[32]; own[i & 31] = i; shared[i] = i;\n"
                   "  threadgroup_barrier(mem_flags::mem_threadgroup);\n"
                   "  out[i] = own[(i + 1) & 31] + shared[i ^ 1]; }\n");
    EXPECT_EQ(count(text, "OpControlBarrier"), 1U);
    EXPECT_EQ(count(text, "OpVariable %\\S+ Workgroup"), 2U);
    EXPECT_EQ(count(text, "SpecId 3"), 1U);
}

TEST(Constructs, SimdgroupsAreSubgroupsWhereTheDeviceHasThem) {
    const std::string kernel = kernelOf("out[i] = simd_sum(uint(in[i])) + uint(simd_sum(in[i]));");
    const auto shader = tests::shaderOf(
        kernel, {.float64 = true, .subgroupThreads = 32, .subgroupsReconverge = true});
    EXPECT_EQ(shader.requirements.subgroupThreads, 32U);
    EXPECT_EQ(groupBytesOf(shader, 64), 2 * 4U);
    EXPECT_EQ(groupBytesOf(shader, 40), 2 * 64 * 4U);
    const std::string text = compute::spirv::disassemble(shader.words);
    EXPECT_EQ(count(text, "OpGroupNonUniformIAdd %uint %uint_3 Reduce"), 1U);
    EXPECT_EQ(count(text, "OpGroupNonUniformShuffleXor"), 5U);
    EXPECT_EQ(count(text, "BuiltIn SubgroupId"), 1U);
    EXPECT_EQ(count(text, "OpExecutionMode %\\S+ SubgroupUniformControlFlowKHR"), 1U);

    const auto other = tests::shaderOf(kernel);
    EXPECT_EQ(other.requirements.subgroupThreads, 0U);
    EXPECT_EQ(groupBytesOf(other, 64), 2 * 64 * 4U);
    EXPECT_EQ(count(compute::spirv::disassemble(other.words), "GroupNonUniform"), 0U);
}

TEST(Constructs, WhatNothingFollowsNeedsNoTable) {
    EXPECT_FALSE(tests::shaderOf(kernelOf("out[i] = uint(in[i]);")).followsPointers);
    EXPECT_TRUE(tests::shaderOf("struct A { device uint* p; };\n"
                                "kernel void k(device A& a [[buffer(0)]]) { a.p[3] = 1; }")
                    .followsPointers);
}

} // namespace
