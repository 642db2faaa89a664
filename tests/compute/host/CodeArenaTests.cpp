// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The memory that machine code lies in: room, and what can be done to it.
#include "compute/host/code/CodeArena.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <random>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

using compute::host::CodeArena;
using Kind = CodeArena::Kind;

constexpr std::size_t arenaBytes = std::size_t{64} << 10;
constexpr std::size_t half = arenaBytes / 2;

std::unique_ptr<CodeArena> makeArena() {
    auto arena = CodeArena::create(arenaBytes);
    if (!arena)
        throw std::runtime_error(arena.error().message);
    return std::move(*arena);
}

CodeArena::Block take(CodeArena& arena, Kind kind, std::size_t bytes, std::size_t alignment = 1) {
    auto block = arena.take(kind, bytes, alignment);
    if (!block)
        throw std::runtime_error("no room");
    return std::move(*block);
}

TEST(CodeArenaTests, RoomIsGivenBackAndUsedAgain) {
    const auto arena = makeArena();
    for (const Kind kind : {Kind::Code, Kind::Constants}) {
        std::mt19937 random(42);
        for (int round = 0; round < 20; ++round) {
            // Blocks of all sizes. Every other one goes before the rest.
            std::vector<std::optional<CodeArena::Block>> blocks;
            while (auto block = arena->take(kind, 1 + random() % 2000, 1u << random() % 8))
                blocks.emplace_back(std::move(*block));
            EXPECT_GT(blocks.size(), 10u);
            for (std::size_t i = 0; i < blocks.size(); i += 2)
                blocks[i].reset();
        }
        const auto all = arena->take(kind, half, 64);
        ASSERT_TRUE(all) << "what was given back is in one piece again";
        EXPECT_FALSE(arena->take(kind, 1, 1));
    }
    EXPECT_FALSE(arena->take(Kind::Code, 0, 1));
    EXPECT_FALSE(arena->take(Kind::Code, half + 1, 1));
    EXPECT_FALSE(arena->take(Kind::Code, ~std::size_t{0} - 8, 1));
}

TEST(CodeArenaTests, BlocksDoNotOverlapAndAreAligned) {
    const auto arena = makeArena();
    const auto first = take(*arena, Kind::Code, 100);
    const auto second = take(*arena, Kind::Code, 100, 4096);
    const auto between = take(*arena, Kind::Code, 100);
    const auto constants = take(*arena, Kind::Constants, 100);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(second.begin()) % 4096, 0u);
    EXPECT_GE(between.begin(), first.begin() + 100);
    EXPECT_LE(between.begin() + 100, second.begin()) << "what alignment skips is used";
    EXPECT_EQ(constants.begin(), arena->memory().data() + half);
}

/// Machine code of a function that returns the number.
std::array<std::byte, 6> functionThatReturns(std::byte number) {
    return {std::byte{0xB8}, number, std::byte{}, std::byte{}, std::byte{}, std::byte{0xC3}};
}

TEST(CodeArenaTests, CodeRunsAndIsReplacedInPlace) {
    const auto arena = makeArena();
    for (int number = 1; number < 100; ++number) {
        const auto block = take(*arena, Kind::Code, 6);
        ASSERT_TRUE(arena->write(block, functionThatReturns(static_cast<std::byte>(number))));
        EXPECT_EQ(reinterpret_cast<int (*)()>(const_cast<std::byte*>(block.begin()))(), number);
    }
}

/// As the system lists it, such as "r-xs".
std::string rightsOf(const void* address) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        std::array<char, 5> rights{};
        const auto wanted = reinterpret_cast<std::uintptr_t>(address);
        if (std::sscanf(line.c_str(), "%lx-%lx %4s", &begin, &end, rights.data()) == 3 &&
            begin <= wanted && wanted < end)
            return rights.data();
    }
    return {};
}

TEST(CodeArenaTests, MappingCannotBecomeWritableNorTheObjectChangeItsSize) {
    const auto arena = makeArena();
    auto* begin = const_cast<std::byte*>(arena->memory().data());
    EXPECT_EQ(rightsOf(begin), "r-xs");
    EXPECT_EQ(rightsOf(begin + half), "r--s");
    for (std::byte* memory : {begin, begin + half}) {
        EXPECT_NE(::mprotect(memory, half, PROT_READ | PROT_WRITE), 0);
        EXPECT_EQ(errno, EACCES);
    }
    EXPECT_NE(::ftruncate(arena->writer(), 0), 0);
    EXPECT_NE(::ftruncate(arena->writer(), 2 * arenaBytes), 0);
    EXPECT_GE(arena->writer(), 64);
}

} // namespace
