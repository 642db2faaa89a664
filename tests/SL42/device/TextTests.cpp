// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Text in pictures, pixel by pixel, against pictures of the font that this test filters itself; and
// the functions about strings.
#include "SL42/font/FontDrawing.h"
#include "SL42/hardware/Screen.h"
#include "tests/SL42/device/DeviceFixture.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace starloom {
namespace {

constexpr double cellWidth = 340, cellHeight = 494;
enum Style : std::size_t { Regular, Bold, Italic, Outline };

/// One style with mip levels, each pixel the rounded mean of the four below it.
class Levels {
public:
    explicit Levels(std::span<const std::byte> pixels) {
        m_levels.resize(1);
        m_levels[0].reserve(pixels.size());
        for (const std::byte pixel : pixels)
            m_levels[0].push_back(std::to_integer<std::uint8_t>(pixel));
        for (std::size_t size = 2048; size > 0; size /= 2)
            m_levels.push_back(halved(m_levels.back(), size));
    }

    /// At a position in texels of level 0, 0 to 1.
    double at(double x, double y, double level) const {
        const auto finer = static_cast<std::size_t>(level);
        const double share = level - static_cast<double>(finer);
        return (bilinear(finer, x, y) * (1 - share) + bilinear(finer + 1, x, y) * share) / 255;
    }

private:
    using Level = std::vector<std::uint8_t>;

    static Level halved(const Level& full, std::size_t size) {
        Level half(size * size);
        for (std::size_t y = 0; y < size; ++y) {
            for (std::size_t x = 0; x < size; ++x) {
                const auto* corner = &full[4 * y * size + 2 * x];
                const int sum = corner[0] + corner[1] + corner[2 * size] + corner[2 * size + 1];
                half[y * size + x] = static_cast<std::uint8_t>((sum + 2) / 4);
            }
        }
        return half;
    }
    double bilinear(std::size_t level, double x, double y) const {
        const double scale = std::ldexp(1.0, -static_cast<int>(level));
        const double u = x * scale - 0.5, v = y * scale - 0.5;
        const double left = std::floor(u), top = std::floor(v);
        double sum = 0;
        for (const int dy : {0, 1}) {
            for (const int dx : {0, 1}) {
                const double share = (dx ? u - left : 1 - u + left) * (dy ? v - top : 1 - v + top);
                sum += share * texel(level, left + dx, top + dy);
            }
        }
        return sum;
    }
    /// Zero beyond the edges.
    double texel(std::size_t level, double x, double y) const {
        const double size = static_cast<double>(4096U >> level);
        if (x < 0 || y < 0 || x >= size || y >= size)
            return 0;
        return m_levels[level][static_cast<std::size_t>(y * size + x)];
    }

    std::vector<Level> m_levels;
};

struct Line {
    const char* text;
    int count;
    double x, y, size;
    Style style;
};

class TextTest : public DeviceTest {
protected:
    static void SetUpTestSuite() {
        DeviceTest::SetUpTestSuite();
        const auto fonts = platform::FontLookup::open();
        platform::Log quiet(platform::printNothing);
        const auto drawn = drawFontPictures({}, FontGrid(), *fonts, quiet, FontCache::ofThisUser());
        ASSERT_TRUE(drawn);
        for (const auto& picture : drawn->styles)
            styles.emplace_back(picture->bytes());
    }
    static void TearDownTestSuite() { styles.clear(); }

    /// What a line covers of a pixel, by the grid of the texture and the level for its size.
    static double coverage(const Line& line, int x, int y) {
        const double px = (x - line.x) / (line.size * cellWidth / cellHeight);
        const double py = (y - line.y) / line.size;
        if (px < 0 || py < 0 || px >= line.count || py >= 1)
            return 0;
        const int cell = line.text[static_cast<int>(px)] - ' ';
        const double level = std::max(std::log2(cellHeight / line.size) - 0.5, 0.0);
        return styles[line.style].at((cell % 12 + px - std::floor(px)) * cellWidth,
                                     (cell / 12 + py) * cellHeight, level);
    }
    static std::string printing(const std::vector<Line>& lines) {
        std::string program = "void fx() {\ncls(float3(0));\n";
        int number = 0;
        for (const Line& line : lines) {
            const std::string name = "text" + std::to_string(number++);
            program += "char " + name + "[] = \"" + line.text + "\";\nprint(" + name + ", " +
                       std::to_string(line.count) + ", float2(" + std::to_string(line.x) + ", " +
                       std::to_string(line.y) + "), float4(1, 0.5, 1, 1), " +
                       std::to_string(line.size) + ", FontStyle(" + std::to_string(line.style) +
                       "));\n";
        }
        return program + "}";
    }
    void expectPicture(const std::vector<Line>& lines) {
        start(printing(lines));
        engine->waitForFont();
        drawFrame();
        const Picture shown = picture();
        double worst = 0, ink = 0;
        for (int y = 0; y < static_cast<int>(screenHeight); ++y) {
            for (int x = 0; x < static_cast<int>(screenWidth); ++x) {
                double covered = 0;
                for (const Line& line : lines)
                    covered = std::max(covered, coverage(line, x, y));
                const Color color{covered, covered / 2, covered, 1};
                worst = std::max(worst, difference(shown.at(x, y), color));
                ink += covered;
            }
        }
        EXPECT_GT(ink, 1000);
        // The texture is exact to half a step of 255, the picture to the step of a half.
        EXPECT_LE(worst, 1.0 / 255);
    }

    static inline std::vector<Levels> styles;
};

} // namespace

TEST_F(TextTest, EveryPixelIsThatOfTheFont) {
    // No pixel is exactly on the edge of a cell, where the last bit decides to which one it
    // belongs. Every character, in lines that do not overlap; the last ones stop short of their
    // strings and go beyond the screen.
    const std::vector<Line> lines{{" !#$%&'()*+,-./0123456789:;<=>?@", 32, 10.25, 7.5, 30, Regular},
                                  {"ABCDEFGHIJKLMNOPQRSTUVWXYZ[]^_`{|}~", 35, 100, 50, 12, Bold},
                                  {"abcdefghijklmnopqrstuvwxyz", 26, 3.75, 70, 47.3, Italic},
                                  {"Outlined", 6, -20.5, 130, 200, Outline},
                                  {"gMW", 3, 500, 330, 494, Regular}};
    expectPicture(lines);
    // Larger than it is kept: no level is finer than the first. Smaller than any letter is legible.
    expectPicture({{"B@", 2, -100, -200, 700, Bold}});
    expectPicture({{"tiny tiny tiny tiny tiny tiny tiny tiny tiny tiny tiny tiny tiny tiny", 69,
                    5.3, 5.4, 6, Regular},
                   {"MMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMM", 68, 5.3,
                    50.4, 20, Bold}});
}

TEST_F(TextTest, NumbersAsStrings) {
    start(R"(void cpu() {
        int number = int(core) - 99;
        if (number > 999) return;
        char str[6] = {'a', 'b', 'c', 'd', 'e', 'f'};
        intToString(number, str, number == 7 ? 2 : 0);
        for (int i = 0; i < 3; i++)
            audioBuffer[core * 3 + i] = float2(str[2 * i], str[2 * i + 1]);
    })");
    drawFrame();
    const auto out = audioMemory();
    for (int number = -99; number <= 999; ++number) {
        std::string found;
        for (std::size_t i = 0; i < 6; ++i)
            found += static_cast<char>(out[static_cast<std::size_t>(number + 99) * 6 + i]);
        const std::size_t offset = number == 7 ? 2 : 0;
        const std::string before = number == 7 ? "ab" : "";
        const std::string expected = before + std::to_string(number) + '\0';
        ASSERT_EQ(found.substr(0, expected.size()), expected) << number;
        // Four characters are written, and no more.
        ASSERT_EQ(found.substr(offset + 4), std::string("abcdef").substr(offset + 4)) << number;
    }
}

TEST_F(TextTest, LengthsAndWidths) {
    const auto out = runOnCore0(R"(
        char empty[] = "";
        char word[] = "seven!!";
        char cut[] = "ab\0cd";
        audioBuffer[0] = float2(strlen(empty), strlen(word));
        audioBuffer[1] = float2(strlen(cut), strlen(word + 2));
        audioBuffer[2] = float2(stringWidth(10, 30), stringWidth(0, 30));
        audioBuffer[3] = float2(Regular + 10 * Bold, Italic + 10 * Outline);
        audioBuffer[4] = float2(FontWNorm, FontTextureSize);
    )");
    const double expected[] = {0, 7, 2, 5, 10 * 30 * 340.0 / 494, 0, 10, 32, 494.0 / 340, 4096};
    for (std::size_t i = 0; i < std::size(expected); ++i)
        EXPECT_NEAR(out[i], expected[i], 1e-4) << i;
}

} // namespace starloom
