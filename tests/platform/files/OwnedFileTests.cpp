// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/OwnedFile.h"

#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using tests::contentsOf;

std::span<const std::byte> bytes(std::string_view text) {
    return std::as_bytes(std::span(text));
}

TEST(OwnedFile, BelongsToWhoeverHoldsIt) {
    const tests::ScratchFolder folder;
    const std::string path = folder.path("new/folder/file");
    {
        OwnedFile file(path);
        for (const char* text : {"one", "two", ""}) {
            ASSERT_TRUE(file.replace(bytes(text)));
            EXPECT_TRUE(OwnedFile::isOwned(path));
            EXPECT_EQ(contentsOf(path), text);
        }
        using enum std::filesystem::perms;
        EXPECT_EQ(std::filesystem::status(path).permissions(), owner_read | owner_write);
    }
    EXPECT_FALSE(OwnedFile::isOwned(path)); // left behind
    OwnedFile next(path);
    ASSERT_TRUE(next.replace(bytes("three")));
    next.remove();
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(OwnedFile::isOwned(path)); // there is nothing to take
}

} // namespace
} // namespace platform
