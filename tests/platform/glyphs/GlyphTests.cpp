// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Finding faces on machines with few fonts or none, and drawing glyphs where they were asked for.
#include "platform/glyphs/FontFace.h"
#include "platform/glyphs/FontLookup.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <tuple>
#include <vector>

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr const char* regularName = "CourierNewPSMT";

/// The installed file of that name, wherever the system keeps its fonts.
std::string installedFont(std::string_view fileName) {
    for (const auto& entry : fs::recursive_directory_iterator("/usr/share/fonts")) {
        if (entry.path().filename() == fileName)
            return entry.path().string();
    }
    ADD_FAILURE() << fileName << " is not installed";
    return {};
}

/// A machine of our own: a font folder and a configuration that knows nothing else.
class FontLookups : public testing::Test {
protected:
    FontLookups() {
        fs::create_directory(fonts);
        m_folder.file("fonts.conf", "<fontconfig><dir>" + fonts.string() + "</dir><cachedir>" +
                                        m_folder.path("cache") + "</cachedir></fontconfig>");
    }

    void install(std::string_view fileName) const {
        fs::copy_file(installedFont(fileName), fonts / fileName);
    }
    std::vector<FaceFile> candidates(std::string_view postScriptName) const {
        const auto lookup = FontLookup::open(m_folder.path("fonts.conf"));
        if (!lookup) {
            ADD_FAILURE() << lookup.error().message;
            return {};
        }
        return lookup->candidates(postScriptName);
    }
    static std::string fileName(const FaceFile& face) { return fs::path(face.path).filename(); }

    ::tests::ScratchFolder m_folder;
    const fs::path fonts = m_folder.path("fonts");
};

TEST_F(FontLookups, EveryStyleOfCourierNewHasItsMetricCompatibleFace) {
    for (const char* style : {"Regular", "Bold", "Italic", "BoldItalic"})
        install(std::string("LiberationMono-") + style + ".ttf");
    install("LiberationSans-Regular.ttf");
    const std::tuple<const char*, const char*, FaceMatch> rows[] = {
        {"CourierNewPSMT", "LiberationMono-Regular.ttf", FaceMatch::MetricCompatible},
        {"CourierNewPS-BoldMT", "LiberationMono-Bold.ttf", FaceMatch::MetricCompatible},
        {"CourierNewPS-ItalicMT", "LiberationMono-Italic.ttf", FaceMatch::MetricCompatible},
        {"CourierNewPS-BoldItalicMT", "LiberationMono-BoldItalic.ttf", FaceMatch::MetricCompatible},
        {"LiberationMono-Bold", "LiberationMono-Bold.ttf", FaceMatch::Exact}};
    for (const auto& [name, file, match] : rows) {
        const auto faces = candidates(name);
        ASSERT_EQ(faces.size(), 5U) << name << ": each face once, the last resort included";
        EXPECT_EQ(fileName(faces.front()), file) << name;
        EXPECT_EQ(faces.front().match, match) << name;
    }
}

TEST_F(FontLookups, WithoutThatFamilyAnyFaceStandsIn) {
    install("LiberationSerif-Bold.ttf");
    install("LiberationSerif-Regular.ttf");
    const auto faces = candidates("CourierNewPS-BoldMT");
    ASSERT_EQ(faces.size(), 2U);
    EXPECT_EQ(fileName(faces.front()), "LiberationSerif-Bold.ttf") << "the style still counts";
    EXPECT_EQ(faces.front().match, FaceMatch::Substitute);
}

TEST_F(FontLookups, MachinesWithoutFontsAndBrokenConfigurationsAreErrorsOnly) {
    EXPECT_TRUE(candidates(regularName).empty());
    const std::string broken = m_folder.file("fonts/broken.ttf", "no font");
    EXPECT_TRUE(candidates(regularName).empty());
    EXPECT_FALSE(FontLookup::open(m_folder.path("none.conf")));
    const auto face = FontFace::open({.path = broken}, 20);
    ASSERT_FALSE(face);
    EXPECT_NE(face.error().message.find("broken.ttf"), std::string::npos);
}

/// A blank picture with a margin around the view, which must stay blank.
struct Canvas {
    static constexpr std::uint32_t width = 120;
    static constexpr std::uint32_t height = 150;
    static constexpr std::uint32_t margin = 8;
    static constexpr std::size_t stride = width + 2 * margin;
    std::vector<std::byte> pixels = std::vector<std::byte>(stride * (height + 2 * margin));

    CoverageView view() {
        return {.pixels = std::span(pixels).subspan(margin * stride + margin),
                .width = width,
                .height = height,
                .bytesPerRow = stride};
    }
    /// How many pixels of the margin, or of the view, are inked.
    std::size_t inked(bool ofMargin) const {
        std::size_t count = 0;
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            // What is less than the margin wraps around.
            const bool inside = i % stride - margin < width && i / stride - margin < height;
            count += inside != ofMargin && pixels[i] != std::byte{0};
        }
        return count;
    }
};

TEST(FontFaces, WhatLeavesTheViewIsCutOff) {
    FontFace face = FontFace::open({.path = installedFont("LiberationMono-Bold.ttf")}, 200).value();
    for (const Point baseline : {Point{-40, 100}, Point{80, 100}, Point{20, 20}, Point{20, 220}}) {
        Canvas canvas;
        ASSERT_TRUE(face.draw('@', canvas.view(), baseline, 5.0));
        EXPECT_GT(canvas.inked(false), 0U);
        EXPECT_EQ(canvas.inked(true), 0U) << baseline.x << ", " << baseline.y;
    }
    std::array<std::byte, 99> tooSmall{};
    EXPECT_FALSE(face.draw('@', {tooSmall, 10, 10, 10}, {0, 10}));
}

} // namespace
} // namespace platform
