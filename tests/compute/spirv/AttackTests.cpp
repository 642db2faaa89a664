// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Programs that go for memory which is not theirs, on a device: between the buffers of the tests
// lies memory that is nobody's, and it must stay as it is; nor may anything be learnt from there.
#include "tests/compute/spirv/Programs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {

struct Attack {
    const char* name;
    /// A kernel with `mine` (16 words), `other` (16 words, also bound) and the distance in bytes
    /// from mine to the secret: `far`. It writes 0x666 where it can, and what it reads to mine[0].
    const char* body;
};

class Attacks : public ::testing::TestWithParam<Attack> {};

constexpr std::uint32_t secret = 0x5ec4e7;

TEST_P(Attacks, ReachNothing) {
    tests::ShaderRunner& runner = tests::device();
    runner.reset();
    const auto before = runner.allocate(64);
    const auto mine = runner.allocate(64);
    const auto behind = runner.allocate(64);
    const auto parameter = runner.allocate(16);
    for (const auto& piece : {before, behind})
        for (std::size_t i = 0; i < 16; ++i)
            std::memcpy(&piece.bytes[4 * i], &secret, sizeof secret);
    const std::int64_t far[] = {static_cast<std::int64_t>(behind.address - mine.address),
                                static_cast<std::int64_t>(behind.address)};
    std::memcpy(parameter.bytes.data(), far, sizeof far);

    tests::ShaderRunner::Arguments arguments;
    arguments.bindings[0] = mine.record();
    arguments.bindings[1] = parameter.record();
    arguments.memory = {mine.record(), parameter.record()};
    const std::string text =
        "struct Far { long distance; ulong address; };\n"
        "struct Pointers { device uint* p; };\n"
        "kernel void k(device uint* mine [[buffer(0)]], device Far& far [[buffer(1)]],\n"
        "              uint i [[thread_position_in_grid]]) {\n" +
        std::string(GetParam().body) + "\n}\n";
    const auto shader = tests::shaderOf(text, runner.features());
    const auto done = runner.run(shader, arguments, {.width = 1}, {.width = 1});
    ASSERT_TRUE(done) << done.error().message;
    for (const auto& piece : {before, behind})
        for (std::size_t i = 0; i < 16; ++i) {
            std::uint32_t word = 0;
            std::memcpy(&word, &piece.bytes[4 * i], sizeof word);
            EXPECT_EQ(word, secret) << "word " << i;
        }
    const std::span gap(mine.bytes.data() + mine.bytes.size(), tests::ShaderRunner::gapBytes);
    EXPECT_TRUE(std::ranges::all_of(gap, [](std::byte one) { return one == std::byte{}; }));
    std::uint32_t learnt = 0;
    std::memcpy(&learnt, mine.bytes.data(), sizeof learnt);
    EXPECT_NE(learnt, secret);
}

const std::vector<Attack> attacks{
    {"IndexBehind", "mine[far.distance / 4] = 0x666; mine[0] = mine[far.distance / 4 + 1];"},
    {"IndexBefore", "mine[-128] = 0x666; mine[0] = mine[-127];"},
    {"VectorBehind", "device uint4* v = (device uint4*)mine; v[far.distance / 16].z = 0x666;"
                     "v[far.distance / 16] = 0x666; mine[0] = v[far.distance / 16 + 1].y;"},
    {"ByteBehind",
     "device uchar* b = (device uchar*)mine; b[far.distance] = 0x66;"
     "*(device ushort*)(b + far.distance) = 0x666;"
     "for (int i = 3; i >= 0; i--) mine[0] = mine[0] << 8 | b[far.distance + 4 + i];"},
    {"IndexBeyondAWord", "mine[(1L << 32) + far.distance / 4] = 0x666;"
                         "mine[0] = mine[-(1L << 32) + far.distance / 4 + 1];"},
    {"IndexThatWraps",
     "uint j = uint(far.distance / 4) + 0x80000000u; mine[int(j - 0x80000000u)] = 0x666;"
     "mine[0] = mine[int(j - 0x80000000u)];"},
    {"Number", "device uint* p = (device uint*)far.address; *p = 0x666; mine[0] = p[1];"},
    {"NumberFromAPointer", "device uint* p = (device uint*)(ulong(mine) + ulong(far.distance)); *p "
                           "= 0x666; mine[0] = p[1];"},
    {"PointerFromMemory",
     "device Pointers& a = *(device Pointers*)&far.address; *a.p = 0x666; mine[0] = a.p[1];"},
    {"GoodPointerFromMemoryWithAFarIndex",
     "far.address = ulong(mine); device Pointers& a = *(device Pointers*)&far.address;"
     "a.p[far.distance / 4] = 0x666; mine[0] = a.p[far.distance / 4 + 1];"},
    {"PointerThatWalks",
     "device uint* p = mine; while (p < mine + far.distance / 4 + 8) *p++ = 0x666;"
     "mine[0] = p[-1];"},
    {"PointerThatIsChosen",
     "device uint* p = far.distance > 5 ? mine : (device uint*)&far; p += far.distance / 4;"
     "*p = 0x666; mine[0] = p[1];"},
    {"PrivateOrDevice",
     "uint own[4] = {1, 2, 3, 4}; ulong a = far.distance > 5 ? ulong(mine) : ulong(&own[0]);"
     "device uint* p = (device uint*)(a + far.distance); *p = 0x666; mine[0] = p[1];"},
    {"Atomic",
     "mine[0] = atomic_exchange_explicit((device atomic_uint*)mine + far.distance / 4, 0x666u,"
     "memory_order_relaxed);"},
    {"Copy",
     "struct Big { uint words[8]; }; *(device Big*)(mine + far.distance / 4) = Big{{0x666}};"
     "Big b = *(device Big*)(mine + far.distance / 4); mine[0] = b.words[2];"},
    {"HalfInside", // of a word that lies half in the buffer
     "*(device packed_uint4*)(mine + 14) = 0x666; *(device ulong*)(mine + 15) = 0x666;"},
    {"PrivateIndex", "uint own[4]; own[far.distance] = 7; own[-far.distance] = 7; mine[0] = "
                     "own[far.distance * 7];"},
};

INSTANTIATE_TEST_SUITE_P(All, Attacks, ::testing::ValuesIn(attacks),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Containment, TheLastWordIsInside) {
    std::vector<std::uint32_t> words(16, 1);
    tests::runShader("kernel void k(device uint* out, uint i [[thread_position_in_grid]]) {\n"
                     "  out[i] = i + 1; device uchar* b = (device uchar*)out; b[63] = 9; }",
                     {&words}, 16);
    EXPECT_EQ(words[14], 15U);
    EXPECT_EQ(words[15], 16U | 9U << 24);
}

TEST(Containment, WhatIsInsideIsReachedWhateverItsNeighboursDo) {
    std::vector<std::uint32_t> words{1, 2, 3, 4, 5};
    tests::runShader("kernel void k(device uint* p, uint i [[thread_position_in_grid]]) {\n"
                     "  uint sum = p[i + 4] + p[i + 5] + p[i + 6] + p[i - 1] * 100;\n"
                     "  p[i + 3] = sum; p[i + 4] = 7; p[i + 5] = 8; p[i - 1] = 9; }",
                     {&words}, 1);
    EXPECT_EQ(words, (std::vector<std::uint32_t>{1, 2, 3, 5, 7}));
}

TEST(Containment, AVectorThatLiesHalfInsideReachesNothingBehind) {
    std::vector<std::uint32_t> words{1, 2, 3, 4, 5, 6};
    tests::runShader("kernel void k(device uint4* p) { p[1] = 9; p[0] = 7; }", {&words}, 1);
    EXPECT_EQ(std::vector<std::uint32_t>(words.begin(), words.begin() + 4),
              std::vector<std::uint32_t>(4, 7));
}

TEST(Containment, WhatIsOutsideReadsAsNothing) {
    std::vector<std::uint32_t> words{1, 2, 3, 4, 5, 6, 7, 8};
    std::vector<std::uint32_t> far{1 << 20, 0};
    tests::runShader("kernel void k(device uint* p, constant long& far [[buffer(1)]],\n"
                     "              device uint4* none [[buffer(2)]]) {\n"
                     "  device uint4* v = (device uint4*)p; device uchar* b = (device uchar*)p;\n"
                     "  p[0] = p[far] + p[-far] + v[far].x + v[-1].w + b[far] + b[-1];\n"
                     "  p[1] = none[0].x + none[far].y; }",
                     {&words, &far}, 1);
    EXPECT_EQ(words, (std::vector<std::uint32_t>{0, 0, 3, 4, 5, 6, 7, 8}));
}

TEST(Containment, MoreBuffersThanAreAtHand) {
    std::vector<std::vector<std::uint32_t>> buffers(7, std::vector<std::uint32_t>(4));
    std::vector<std::vector<std::uint32_t>*> all;
    for (auto& buffer : buffers)
        all.push_back(&buffer);
    std::string parameters;
    std::string body;
    for (unsigned i = 0; i < buffers.size(); ++i) {
        const std::string name = "b" + std::to_string(i);
        parameters += "device uint* " + name + " [[buffer(" + std::to_string(i) + ")]], ";
        body += name + "[i] = " + std::to_string(i + 1) + "; " + name + "[i + 4] = 99; ";
    }
    tests::runShader("kernel void k(" + parameters + "uint i [[thread_position_in_grid]]) {\n" +
                         body + "}",
                     all, 4);
    for (unsigned i = 0; i < buffers.size(); ++i)
        EXPECT_EQ(buffers[i], std::vector<std::uint32_t>(4, i + 1)) << i;
}

TEST(WideAccesses, KeepTheOrderOfWhatMayBeTheSameMemory) {
    std::vector<std::uint32_t> words(8);
    std::vector<std::uint32_t> which{0};
    tests::runShader(
        "kernel void k(device uint2* p, constant uint& at [[buffer(1)]]) {\n"
        "  device uint2* q = p + at; p[0].x = 1; q[0].x = 2; p[0].y = 3; q[0].y = p[0].x + 10;\n"
        "  p[2] = uint2(5, 6); p[2].y = 7; p[3] = p[2]; p[2].x = 8; p[1] = p[3].yx; }",
        {&words, &which}, 1);
    EXPECT_EQ(words, (std::vector<std::uint32_t>{2, 12, 7, 5, 8, 7, 5, 7}));
}

TEST(Containment, PointersFromMemoryReachWhatIsTheirs) {
    std::vector<std::uint32_t> first(16, 0);
    std::vector<std::uint32_t> second(16, 0);
    tests::runShader(
        "struct Node { device uint* data; uint at; };\n"
        "kernel void k(device uint* a [[buffer(0)]], device uint* b [[buffer(1)]]) {\n"
        "  Node nodes[2] = {{a, 3}, {b, 15}};\n"
        "  for (int i = 0; i < 2; i++) nodes[a[0] + i].data[nodes[a[0] + i].at] = 7 + i;\n"
        "}",
        {&first, &second}, 1);
    EXPECT_EQ(first[3], 7U);
    EXPECT_EQ(second[15], 8U);
}

TEST(Containment, PointersMayLeadToOneOfSeveralVariables) {
    std::vector<std::uint32_t> words{1, 2, 3, 4, 0, 0, 0, 0};
    tests::runShader("kernel void k(device uint* out, uint i [[thread_position_in_grid]]) {\n"
                     "  uint a[3] = {10, 20, 30}; uint b[3] = {100, 200, 300};\n"
                     "  thread uint* p = out[i] & 1 ? a : b; p[out[0]] += out[i];\n"
                     "  out[4 + i] = a[1] + b[1]; }",
                     {&words}, 4);
    EXPECT_EQ(std::vector<std::uint32_t>(words.begin() + 4, words.end()),
              (std::vector<std::uint32_t>{221, 222, 223, 224}));
}

} // namespace
