// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/protocol/CodeRecord.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>

namespace compute::protocol {
namespace {

using Bytes = std::vector<std::byte>;

constexpr Fingerprint shader{3, 4};

class CodeRecordTest : public ::testing::Test {
protected:
    CodeRecordTest() : code(20), memory(100) {
        for (std::size_t i = 0; i < code.size(); ++i)
            code[i] = std::byte(i + 1);
        EXPECT_TRUE(writeRecord(memory, shader, code));
    }
    Bytes code;
    Bytes memory;
};

TEST_F(CodeRecordTest, IsReadForTheShaderThatItIsOf) {
    const Bytes record = copyRecord(memory);
    EXPECT_EQ(record.size(), sizeof(CodeRecord) + code.size());
    EXPECT_TRUE(std::ranges::equal(codeIn(record, shader), code));
    EXPECT_TRUE(codeIn(record, {3, 5}).empty());
    EXPECT_TRUE(codeIn({}, shader).empty());
    EXPECT_EQ(copyRecord(record), record) << "a file is as good as the memory";
    EXPECT_EQ(copyRecord(Bytes(1000)), Bytes());
    EXPECT_TRUE(writeRecord(memory, shader, {}));
    EXPECT_EQ(copyRecord(memory).size(), sizeof(CodeRecord));
}

TEST_F(CodeRecordTest, DamagedAnywhereItIsNone) {
    const Bytes whole = copyRecord(memory);
    for (std::size_t i = 0; i < whole.size(); ++i) {
        for (const unsigned bit : {0x01u, 0x80u}) {
            Bytes damaged = whole;
            damaged[i] ^= std::byte(bit);
            EXPECT_EQ(copyRecord(damaged), Bytes()) << "byte " << i;
        }
        EXPECT_EQ(copyRecord(std::span(whole).first(i)), Bytes()) << "cut after " << i;
    }
}

// Its sum is right, so that nothing but the length is looked at.
TEST_F(CodeRecordTest, ALengthBeyondTheMemoryIsNotFollowed) {
    for (const std::uint64_t length :
         {std::uint64_t{61}, std::uint64_t{100}, std::uint64_t{1} << 32, ~std::uint64_t{0},
          ~std::uint64_t{0} - sizeof(CodeRecord) + 1}) {
        std::memcpy(&memory[offsetof(CodeRecord, length)], &length, sizeof length);
        EXPECT_EQ(copyRecord(memory), Bytes()) << length;
    }
}

TEST_F(CodeRecordTest, WhatDoesNotFitLeavesWhatIsThere) {
    const Bytes before = memory;
    EXPECT_FALSE(writeRecord(memory, shader, Bytes(61)));
    EXPECT_FALSE(writeRecord(std::span(memory).first(39), shader, {}));
    EXPECT_EQ(memory, before);
    EXPECT_TRUE(writeRecord(memory, shader, Bytes(60)));
    EXPECT_EQ(copyRecord(memory).size(), 100u);
}

} // namespace
} // namespace compute::protocol
