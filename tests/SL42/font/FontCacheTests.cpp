// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pictures that are kept are those that were drawn, and nothing that happens to the file matters.
#include "SL42/font/FontDrawing.h"
#include "platform/WholeFile.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace starloom {
namespace {

namespace fs = std::filesystem;

bool sameBytes(std::span<const std::byte> a, std::span<const std::byte> b) {
    return std::ranges::equal(a, b);
}

bool samePictures(const FontPictures& a, const FontPictures& b) {
    return a.size == b.size && std::ranges::equal(a.styles, b.styles, [](auto& left, auto& right) {
               return sameBytes(left->bytes(), right->bytes());
           });
}

class FontCacheTest : public testing::Test {
protected:
    static FontPictures draw(const FontGrid& grid, const FontCache& cache) {
        const auto fonts = platform::FontLookup::open();
        platform::Log log(platform::printNothing);
        auto pictures = drawFontPictures({}, grid, *fonts, log, cache);
        EXPECT_TRUE(pictures);
        return pictures ? *std::move(pictures) : FontPictures{};
    }
    /// Pictures full of everything that a picture can hold, long runs of each kind too.
    static FontPictures patterns(std::uint32_t size) {
        FontPictures pictures{.styles = {}, .size = size};
        for (std::size_t style = 0; style < fontStyleCount; ++style) {
            pictures.styles[style] = *platform::SharedMemory::create(size * size, "Test");
            const auto pixels = pictures.styles[style]->bytes();
            for (std::size_t i = 0; i < pixels.size(); ++i)
                pixels[i] = std::byte(i * i / 7 + style);
            constexpr std::size_t tooLong = 70000;
            std::ranges::fill(pixels.subspan(1000, tooLong), std::byte(style == 0 ? 0 : 255));
            std::ranges::fill(pixels.subspan(80000, tooLong), std::byte(style == 1 ? 0 : 9));
        }
        return pictures;
    }
    fs::path file() const { return folder / "deep/font"; }

    const tests::ScratchFolder scratch;
    const fs::path folder = scratch.path("cache");
};

TEST_F(FontCacheTest, KeepsEveryPixelUnderItsKey) {
    const FontCache cache(file());
    const FontPictures pictures = patterns(512);
    EXPECT_FALSE(cache.load("a", 512));
    cache.store("a", pictures);
    const auto kept = cache.load("a", 512);
    ASSERT_TRUE(kept);
    EXPECT_TRUE(samePictures(*kept, pictures));
    EXPECT_FALSE(cache.load("b", 512));
    EXPECT_FALSE(cache.load("aa", 512));
    EXPECT_FALSE(cache.load("", 512));
    for (const std::uint32_t size : {0U, 511U, 513U})
        EXPECT_FALSE(cache.load("a", size)) << size;
    EXPECT_EQ(std::distance(fs::directory_iterator(file().parent_path()), {}), 1)
        << "nothing is left beside it";
}

TEST_F(FontCacheTest, DrawsAgainWhatIsDamagedCutOffOrForeign) {
    const FontGrid grid(512);
    const FontPictures drawn = draw(grid, {});
    const FontCache cache(file());
    draw(grid, cache);
    const platform::Bytes good = *platform::readWholeFile(file());
    const auto survives = [&](std::span<const std::byte> bytes) {
        ASSERT_TRUE(platform::writeWholeFile(file(), bytes));
        EXPECT_TRUE(samePictures(draw(grid, cache), drawn));
        EXPECT_TRUE(sameBytes(*platform::readWholeFile(file()), good)) << "and is stored again";
    };
    for (const std::size_t at : {0UL, 3UL, 9UL, 20UL, 40UL, good.size() / 2, good.size() - 1}) {
        survives(std::span(good).first(at));
        platform::Bytes bad = good;
        bad[at] ^= std::byte{4};
        survives(bad);
    }
    survives(platform::Bytes(100000, std::byte{'x'}));
    platform::Bytes longer = good;
    longer.push_back({});
    survives(longer);

    draw(FontGrid(256), cache); // another grid takes its place
    EXPECT_FALSE(sameBytes(*platform::readWholeFile(file()), good));
    survives(*platform::readWholeFile(file()));
}

TEST_F(FontCacheTest, AFolderThatCannotBeWrittenOnlyCostsTime) {
    fs::create_directories(folder);
    const fs::path inTheWay = folder / "file";
    ASSERT_TRUE(platform::writeWholeFile(inTheWay, {}));
    const FontGrid grid(512);
    const FontPictures drawn = draw(grid, {});
    for (const fs::path& place : {inTheWay / "font", fs::path("/proc/none/font"), folder})
        EXPECT_TRUE(samePictures(draw(grid, FontCache(place)), drawn)) << place;
}

} // namespace
} // namespace starloom
