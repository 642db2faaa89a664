// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/TextFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

class TextFile : public testing::Test {
protected:
    void TearDown() override { std::filesystem::remove(path); }
    void write(std::string_view text) { std::ofstream(path, std::ios::binary) << text; }

    const std::filesystem::path path =
        std::filesystem::temp_directory_path() /
        (std::string("sl42-") + testing::UnitTest::GetInstance()->current_test_info()->name());
};

} // namespace

TEST_F(TextFile, ReadsWholeTexts) {
    for (const std::string_view text : {"", "void fx() {}\r\n", "\xC3\xA4\0\xE2\x82\xAC"}) {
        write(text);
        const auto read = platform::readTextFile(path);
        ASSERT_TRUE(read);
        EXPECT_EQ(*read, text);
    }
}

TEST_F(TextFile, RefusesWhatIsNoText) {
    EXPECT_NE(platform::readTextFile(path).error().message.find(path.string()), std::string::npos);
    EXPECT_FALSE(platform::readTextFile(path.parent_path()));
    EXPECT_FALSE(platform::readTextFile("/dev/zero"));
    write("caf\xE9");
    EXPECT_NE(platform::readTextFile(path).error().message.find("Not UTF-8"), std::string::npos);
    std::filesystem::resize_file(path, platform::maxTextFileLength + 1);
    EXPECT_NE(platform::readTextFile(path).error().message.find("Too long"), std::string::npos);
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
