// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Blending, colour modes, extended range, overlay and the two screen banks, as they end up in the
// picture.
#include "SL42/console/StarloomDocument.h"
#include "tests/SL42/device/DeviceFixture.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace starloom {
namespace {

class DisplayTest : public DeviceTest {
protected:
    /// The picture with some registers set from outside, once all kernels have followed them.
    Picture pictureWith(const std::string& source,
                        std::initializer_list<std::pair<Register, int>> registers) {
        start(source);
        for (const auto& [index, value] : registers)
            setRegister(index, static_cast<std::uint8_t>(value));
        drawFrame();
        drawFrame(); // what they hold after a frame governs the next
        return picture();
    }
    std::shared_ptr<gpu::Texture> plainTexture(gpu::PixelFormat format, std::uint32_t width,
                                               std::initializer_list<int> pixel) {
        auto texture = device->makeTexture({.format = format, .width = width, .height = width});
        std::vector<std::byte> bytes;
        for (std::uint32_t i = 0; i < width * width; ++i)
            for (const int value : pixel)
                bytes.push_back(static_cast<std::byte>(value));
        EXPECT_TRUE(texture->replace(0, bytes, bytes.size() / width));
        return texture;
    }
};

// Half precision near 1, after a few operations.
constexpr double tolerance = 0.002;

} // namespace

TEST_F(DisplayTest, TheDefaultProgramShowsABallAtTheLowerRight) {
    const Picture picture = pictureOf(std::string(defaultSource));
    const Color white{1, 1, 1, 1};
    const Color black{0, 0, 0, 0}; // what fades is the clear screen of this frame
    // At the start its centre is at (928, 508) and its radius 32.
    for (const auto [x, y] : {std::pair{928, 508}, {928 - 31, 508}, {928 + 31, 508}, {928, 478}})
        EXPECT_LT(difference(picture.at(x, y), white), 0.01) << x << ", " << y;
    for (const auto [x, y] : {std::pair{928 - 33, 508}, {928, 474}, {952, 484}, {480, 270}, {0, 0}})
        EXPECT_LT(difference(picture.at(x, y), black), 0.01) << x << ", " << y;
}

TEST_F(DisplayTest, BlendModes) {
    // Two colours over each other, then the pixel into a bank that is still zero.
    const std::string program = R"(void fx() {
        pix(float4(.25, .5, .75, .5), coords);
        pix(float4(.5, .125, 0, .25), coords);
    })";
    const std::pair<int, Color> cases[] = {
        // over: (.125,.25,.375,.5) then .25 of the other; its alpha .625 scales it once more
        {0, {.21875 * .625, .21875 * .625, .28125 * .625, .625}},
        {1, {.5, .125, 0, .25}},
        {2, {.75, .625, .75, .75}},
        {3, {1, 0, 1, 1}},
        {200, {1, 0, 1, 1}},
    };
    for (const auto& [mode, expected] : cases) {
        const Picture picture = pictureWith(program, {{Register::BlendMode, mode}});
        EXPECT_LT(difference(picture.at(0, 0), expected), tolerance) << "mode " << mode;
        EXPECT_LT(difference(picture.at(959, 539), expected), tolerance) << "mode " << mode;
    }
}

TEST_F(DisplayTest, ColourModes) {
    const std::string program = R"(void fx() {
        if (coords.x < 100) cls(float3(.5, 0, 0));
        else if (coords.x < 200) cls(float3(.5, .2, 0));
        else if (coords.x < 300) cls(float3(.25, 0, .25));
    })";
    const std::tuple<int, int, Color> cases[] = {{1, 50, {.5, .5, .5, 1}},
                                                 {1, 150, {.5, .4328, .8464, 1}},
                                                 {1, 250, {.59275, .0755, .25, 1}},
                                                 {1, 350, {0, 0, 0, 0}},
                                                 {2, 150, {1, 0, 1, 1}}, // there is no such mode
                                                 {2, 350, {1, 0, 1, 0}},
                                                 {3, 150, {.5, .2, 0, 1}}};
    for (const auto& [mode, x, expected] : cases)
        EXPECT_LT(
            difference(pictureWith(program, {{Register::ColorMode, mode}}).at(x, 5), expected),
            tolerance)
            << "mode " << mode << " at " << x;
}

TEST_F(DisplayTest, ExtendedRange) {
    const std::string program = R"(void fx() {
        pix(float4(2, -1, .5, 1), coords);
    })";
    EXPECT_EQ(pictureWith(program, {}).at(3, 3), (Color{1, 0, .5, 1}));
    EXPECT_EQ(pictureWith(program, {{Register::HDR, 1}}).at(3, 3), (Color{2, -1, .5, 1}));
}

TEST_F(DisplayTest, EditorOverlay) {
    start("void fx() { cls(float3(.5, .25, 0)); }");
    const auto shown = [this] {
        drawFrame();
        return picture().at(480, 270);
    };
    engine->showEditorOverlay.set(true);
    EXPECT_EQ(lines.back(), "Showing editor overlay");
    EXPECT_LT(difference(shown(), {.5, .25, 0, 1}), tolerance) << "no editor frame yet";
    struct Row {
        int luma, u, v;
        bool isInverted;
    };
    for (const auto& [luma, u, v, isInverted] :
         {Row{51, 128, 128, false}, Row{102, 160, 96, false}, Row{102, 96, 160, false},
          Row{0, 128, 128, true}}) { // black text on white turns bright on dark
        engine->setEditorTexture(YUVTexture{plainTexture(gpu::PixelFormat::R8Unorm, 4, {luma}),
                                            plainTexture(gpu::PixelFormat::RG8Unorm, 2, {u, v})});
        engine->invertEditorOverlay.set(isInverted);
        const double y = isInverted ? 1 - luma / 255.0 : luma / 255.0;
        const double cb = u / 255.0 * 2 - 1, cr = v / 255.0 * 2 - 1;
        const Color editor{y + 1.371 * cr, y - .336 * cb - .698 * cr, y + 1.732 * cb};
        const double cover = std::max({editor[0], editor[1], editor[2]});
        Color expected{.5, .25, 0, 1};
        for (std::size_t i = 0; i < 3; ++i)
            expected[i] = std::clamp(std::lerp(expected[i], editor[i], cover), 0.0, 1.0);
        EXPECT_LT(difference(shown(), expected), tolerance) << luma << " " << u << " " << v;
    }
    engine->showEditorOverlay.set(false);
    EXPECT_EQ(lines.back(), "Hiding editor overlay");
    EXPECT_LT(difference(shown(), {.5, .25, 0, 1}), tolerance);
}

TEST_F(DisplayTest, BanksKeepOneFrame) {
    // Draws in the first frame only; after that, copies what the last frame showed one to the left.
    start(R"(void fx() {
        if (time == 0) {
            if (coords.x == 100) cls(1);
        } else {
            cls(lpix(coords + float2(1.3, 0)));
        }
    })");
    for (int frame = 0; frame < 4; ++frame) {
        drawFrame();
        clock.advance(platform::Seconds(1));
        const Picture shown = picture();
        for (int x = 90; x < 110; ++x)
            EXPECT_EQ(shown.at(x, 300)[3], x == 100 - frame ? 1 : 0) << frame << ": " << x;
    }
    engine->reset();
    clock.advance(platform::Seconds(0.5));
    compile("void fx() { cls(lpix(coords)); }");
    drawFrame();
    EXPECT_EQ(picture().at(97, 300), (Color{0, 0, 0, 0}));
}

TEST_F(DisplayTest, DrawingElsewhereWraps) {
    const Picture picture = pictureOf(R"(void fx() {
        if (all(coords == 0)) {
            pix(float3(1, 0, 0), float2(10.4, 19.6));
            pix(float3(0, 1, 0), float2(959.6, 4));
            pix(float3(0, 0, 1), float2(7, 541));
        }
    })");
    EXPECT_EQ(picture.at(10, 20), (Color{1, 0, 0, 1}));
    EXPECT_EQ(picture.at(0, 5), (Color{0, 1, 0, 1}));
    EXPECT_EQ(picture.at(7, 1), (Color{0, 0, 1, 1}));
    EXPECT_EQ(picture.at(0, 0), (Color{0, 0, 0, 0}));
}

// What a program reads of the last picture is there again after a fault.
TEST_F(DisplayTest, TheLastPictureSurvivesAFault) {
    exactFrames = false;
    start("void fx() { cls(float4(lpix(coords).r + 0.25, 0, 0, 1)); }");
    drawFrame();
    drawFrame();
    EXPECT_EQ(picture().at(7, 7)[0], 0.5);
    compile("void fx() { cls(1); device float* p = (device float*)64; *p = 1; }");
    drawFrame();
    EXPECT_NE(engine->fault().get(), "");
    EXPECT_EQ(picture().at(7, 7)[0], 0.5);
    drawFrame();
    EXPECT_EQ(picture().at(7, 7)[0], 0.75);
}

} // namespace starloom
