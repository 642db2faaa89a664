// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/digest/Sha256.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string_view>

namespace platform {
namespace {

std::span<const std::byte> bytesOf(std::string_view text) {
    return std::as_bytes(std::span(text));
}

// The first two are those of FIPS 180-4's examples.
TEST(Sha256, GivesThePublishedDigests) {
    Sha256 word;
    word.add(bytesOf("abc"));
    EXPECT_EQ(word.finish(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    Sha256 pieces;
    pieces.add(bytesOf("abcdbcdecdefdefgefghfghigh"));
    pieces.add(bytesOf("ijhijkijkljklmklmnlmnomnopnopq"));
    EXPECT_EQ(pieces.finish(), "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(Sha256().finish(),
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(Sha256, PiecesDoNotRunIntoEachOther) {
    const auto digestOf = [](std::initializer_list<std::string_view> pieces) {
        Sha256 digest;
        for (const std::string_view piece : pieces)
            digest.addPiece(bytesOf(piece));
        return digest.finish();
    };
    EXPECT_EQ(digestOf({"ab", "c"}), digestOf({"ab", "c"}));
    EXPECT_NE(digestOf({"ab", "c"}), digestOf({"a", "bc"}));
    EXPECT_NE(digestOf({"abc", ""}), digestOf({"abc"}));
}

} // namespace
} // namespace platform
