// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/TextFile.h"

#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

using platform::readTextFile;

TEST(TextFile, IsReadWholeOrRefused) {
    const tests::ScratchFolder folder;
    for (const std::string_view text : {"", "void fx() {}\r\n", "\xC3\xA4\0\xE2\x82\xAC"})
        EXPECT_EQ(readTextFile(folder.file("text", text)).value(), text);
    EXPECT_EQ(readTextFile(folder.file("text", "\xEF\xBB\xBFvoid fx() {}")).value(),
              "void fx() {}");
    const auto errorOf = [](const std::string& path) { return readTextFile(path).error().message; };
    EXPECT_EQ(errorOf(folder.path("none")), folder.path("none") + ": No such file or directory");
    EXPECT_FALSE(readTextFile(folder.path("")));
    EXPECT_FALSE(readTextFile("/dev/zero"));
    const std::string bad = folder.file("text", "caf\xE9");
    EXPECT_NE(errorOf(bad).find("Not UTF-8"), std::string::npos);
    std::filesystem::resize_file(bad, platform::maxTextFileLength + 1);
    EXPECT_NE(errorOf(bad).find("Too long"), std::string::npos);
}

TEST(Utf8, TellsWellFormedTexts) {
    for (const char* text : {"", "abc", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                             "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"})
        EXPECT_TRUE(platform::isValidUtf8(text)) << text;
    for (const char* text :
         {"\x80", "\xC1\xBF", "\xC2", "\xC2x", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xE2\x82",
          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "ok\xF0\x90\x80"})
        EXPECT_FALSE(platform::isValidUtf8(text)) << text;
    EXPECT_EQ(platform::characterCount("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xB5"), 4U);
}
