// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Picture files: what comes back, what the files say about their colours, and failures.
#include "platform/WholeFile.h"
#include "platform/image/Exr.h"
#include "platform/image/Png.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

namespace platform {
namespace {

namespace fs = std::filesystem;

class ImageFiles : public testing::Test {
protected:
    std::string path(std::string_view name) const { return m_folder.path(name); }

    ::tests::ScratchFolder m_folder;
};

/// A 256 x 256 picture whose pixels hold every half float once.
Image everyHalf() {
    Image image(256, 256);
    auto halves = image.halves();
    for (std::size_t i = 0; i < halves.size(); ++i)
        halves[i] = static_cast<std::uint16_t>(i / Image::channelsPerPixel + i % 4 * 16384);
    return image;
}

TEST_F(ImageFiles, ExrKeepsEveryBitOfEveryHalfFloat) {
    const Image image = everyHalf();
    ASSERT_TRUE(writeExr(image, path("a.exr")));
    const auto read = readExr(path("a.exr"));
    ASSERT_TRUE(read) << read.error().message;
    EXPECT_TRUE(*read == image);
}

TEST_F(ImageFiles, PngClampsRoundsAndDropsAlpha) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    const std::vector<std::pair<float, int>> rows{
        {-0.5F, 0},  {0.0F, 0},     {0.5F / 255 - 1e-4F, 0},
        {0.5F, 128}, {1.0F, 255},   {3.75F, 255},
        {inf, 255},  {-inf, 0},     {nan, 0},
        {1e-7F, 0},  {0.996F, 254}, {0.2F, 51}};
    Image image(static_cast<std::uint32_t>(rows.size()), 1);
    for (std::uint32_t x = 0; x < image.width(); ++x)
        image.setPixel(x, 0, {rows[x].first, 0.25F, 1.0F, 0.0F});

    ASSERT_TRUE(writePng(image, path("a.png")));
    const auto read = readPng(path("a.png"));
    ASSERT_TRUE(read) << read.error().message;
    for (std::uint32_t x = 0; x < image.width(); ++x) {
        const auto rgba = read->pixel(x, 0);
        EXPECT_EQ(toByte(rgba[0]), rows[x].second) << "for " << rows[x].first;
        EXPECT_EQ(toByte(rgba[1]), 64);
        EXPECT_EQ(rgba[3], 1.0F) << "the view is opaque whatever the program leaves in alpha";
    }
}

/// The number of four bytes that stands `at` bytes into a chunk's data.
std::uint32_t numberIn(const std::string& file, std::string_view chunk, std::size_t at) {
    const std::string bytes = file.substr(file.find(chunk) + chunk.size() + at, 4);
    std::uint32_t value = 0;
    for (const char byte : bytes)
        value = value << 8 | static_cast<std::uint8_t>(byte);
    return value;
}

TEST_F(ImageFiles, PngSaysThatItsColoursAreDisplayP3) {
    ASSERT_TRUE(writePng(Image(2, 2), path("a.png")));
    const std::string file = ::tests::contentsOf(path("a.png"));
    // White, red, green, blue, x before y, in hundred-thousandths.
    const std::array<std::uint32_t, 8> primaries{31270, 32900, 68000, 32000,
                                                 26500, 69000, 15000, 6000};
    for (std::size_t i = 0; i < primaries.size(); ++i)
        EXPECT_NEAR(numberIn(file, "cHRM", 4 * i), primaries[i], 1) << i;
    EXPECT_EQ(numberIn(file, "gAMA", 0), 45455U);
    EXPECT_EQ(numberIn(file, "cICP", 0), 0x0c0d0001U);
}

TEST_F(ImageFiles, AFailedWriteLeavesTheOldFileAndNothingElse) {
    ASSERT_TRUE(writePng(Image(4, 4), path("a.png")));
    const Image empty;
    const auto written = writePng(empty, path("a.png"));
    ASSERT_FALSE(written);
    EXPECT_NE(written.error().message.find(path("a.png")), std::string::npos);
    ASSERT_FALSE(writeExr(empty, path("a.png")));
    EXPECT_EQ(readPng(path("a.png"))->width(), 4U);
    EXPECT_EQ(m_folder.names().size(), 1U);

    const auto nowhere = writePng(Image(4, 4), path("none/a.png"));
    ASSERT_FALSE(nowhere);
    EXPECT_EQ(nowhere.error().message,
              "cannot write " + path("none/a.png") + ": No such file or directory");
}

TEST_F(ImageFiles, WritingKeepsLinksAndDevices) {
    ASSERT_TRUE(writePng(Image(4, 4), path("target.png")));
    fs::create_symlink("target.png", path("link.png"));
    ASSERT_TRUE(writePng(Image(5, 5), path("link.png")));
    EXPECT_TRUE(fs::is_symlink(path("link.png")));
    EXPECT_EQ(readPng(path("target.png"))->width(), 5U);

    ASSERT_TRUE(writePng(Image(4, 4), "/dev/null"));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(ImageFiles, DamagedFilesGiveOneLine) {
    ASSERT_TRUE(writePng(everyHalf(), path("whole.png")));
    ASSERT_TRUE(writeExr(everyHalf(), path("whole.exr")));
    for (const std::size_t length : {0U, 7U, 40U, 300U})
        for (const char* name : {"whole.png", "whole.exr"}) {
            const auto bytes = *readWholeFile(path(name));
            ASSERT_TRUE(writeWholeFile(path("cut"), std::span(bytes).first(length)));
            const bool isPng = std::string_view(name).ends_with(".png");
            const auto read = isPng ? readPng(path("cut")) : readExr(path("cut"));
            ASSERT_FALSE(read) << name << " cut to " << length;
            const std::string& message = read.error().message;
            EXPECT_TRUE(message.starts_with("cannot read " + path("cut") + ": ")) << message;
            EXPECT_EQ(message.find('\n'), std::string::npos);
        }
}

} // namespace
} // namespace platform
