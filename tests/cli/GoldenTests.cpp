// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Every example against a picture of it that somebody has looked at and found good.
#include "platform/image/Png.h"
#include "tests/cli/RunStarloom.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string_view>

namespace cli::tests {
namespace {

namespace fs = std::filesystem;
using platform::Image;

// Devices may fuse a multiplication with an addition or not, and their sines differ in the last
// bits. That moves a colour by one step of 255 and now and then puts a pixel on the other side of
// a hard edge. Compiled with the C library's functions instead of ours, seventeen of the twenty
// examples do not have a single such stray.
constexpr int largestStep = 2;
constexpr double fewStrays = 0.0002;

// A graphics device computes with the same functions, so that no pixel is off by more than one
// step; a driver may fuse operations all the same. CMakeLists.txt says which examples it draws
// here.
constexpr int largestStepOnGraphicsDevice = 1;

// Where small differences grow (iterated numbers, steep waves), there are 632 of 518400.
constexpr double moreStrays = 0.002;
// A particle that lands on the other side of a pixel's edge goes on from there, trail and all:
// 4398.
constexpr double strayParticles = 0.03;

/// How a picture is reached. Examples that draw from the time alone need two frames, a second
/// apart: registers take effect in the second one. Those that build on the last frame need all.
struct Shot {
    int frames = 2;
    int fps = 1;
    double strays = fewStrays;
};

const std::map<std::string, Shot> specialShots{
    {"bricks", {100, 60, fewStrays}}, {"coral", {120, 60, moreStrays}},
    {"demo", {2, 1, moreStrays}},     {"feedback", {60, 30, fewStrays}},
    {"fractal", {2, 1, moreStrays}},  {"life", {60, 30, fewStrays}},
    {"paint", {60, 30, fewStrays}},   {"particles", {60, 30, strayParticles}},
    {"synth", {2, 1, moreStrays}}};

/// Whether `starloom` takes one from the environment.
bool usesGraphicsDevice() {
    const char* device = std::getenv("SL42_DEVICE");
    return device != nullptr && *device != '\0' && std::string_view(device) != "host";
}

std::vector<std::string> exampleNames() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(sourceFolder() / "examples"))
        if (entry.path().extension() == ".metal")
            names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

struct Comparison {
    std::size_t strays = 0;
    int largest = 0;
    /// Twenty times the difference, so that one step can be seen.
    Image difference;
};

Comparison compare(const Image& a, const Image& b) {
    const int allowed = usesGraphicsDevice() ? largestStepOnGraphicsDevice : largestStep;
    Comparison result;
    result.difference = Image(a.width(), a.height());
    for (std::uint32_t y = 0; y < a.height(); ++y) {
        for (std::uint32_t x = 0; x < a.width(); ++x) {
            const auto left = a.pixel(x, y);
            const auto right = b.pixel(x, y);
            std::array<float, 4> shown{0, 0, 0, 1};
            int step = 0;
            for (std::size_t channel = 0; channel < 3; ++channel) {
                const int distance =
                    std::abs(platform::toByte(left[channel]) - platform::toByte(right[channel]));
                shown[channel] = static_cast<float>(distance) * 20 / 255;
                step = std::max(step, distance);
            }
            result.difference.setPixel(x, y, shown);
            result.largest = std::max(result.largest, step);
            result.strays += step > allowed;
        }
    }
    return result;
}

/// Renders a program and compares the picture with the one that was found good.
void expectPicture(const std::string& name, const fs::path& golden, const Shot& shot,
                   const std::vector<std::string>& more = {}) {
    const ScratchFolder scratch;
    const std::string picture = scratch.path("picture.png");
    std::vector<std::string> arguments{
        "render",   (sourceFolder() / "examples" / (name + ".metal")),
        "-o",       picture,
        "--frames", std::to_string(shot.frames),
        "--fps",    std::to_string(shot.fps)};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome run = runStarloom(arguments);
    ASSERT_EQ(run.status, 0) << run.err;
    if (std::getenv("SL42_UPDATE_GOLDENS")) {
        fs::copy_file(picture, golden, fs::copy_options::overwrite_existing);
        GTEST_SKIP() << "wrote " << golden << "; look at it before it is committed";
    }

    const auto expected = platform::readPng(golden);
    const auto drawn = platform::readPng(picture);
    ASSERT_TRUE(expected) << expected.error().message << "; make it with: ./test --update-goldens";
    ASSERT_TRUE(drawn) << drawn.error().message;
    ASSERT_EQ(drawn->width(), expected->width());
    ASSERT_EQ(drawn->height(), expected->height());
    const Comparison comparison = compare(*expected, *drawn);
    const double pixels = static_cast<double>(drawn->width()) * drawn->height();
    const double strays = usesGraphicsDevice() ? 0 : shot.strays;
    if (static_cast<double>(comparison.strays) <= strays * pixels)
        return;

    const fs::path shown = buildFolder() / "golden" / golden.stem();
    fs::create_directories(shown);
    fs::copy_file(golden, shown / "a.png", fs::copy_options::overwrite_existing);
    fs::copy_file(picture, shown / "b.png", fs::copy_options::overwrite_existing);
    ASSERT_TRUE(platform::writePng(comparison.difference, shown / "diff.png"));
    FAIL() << comparison.strays << " pixels differ, by up to " << comparison.largest
           << " of 255\n  expected   " << (shown / "a.png").string() << "\n  drawn      "
           << (shown / "b.png").string() << "\n  difference " << (shown / "diff.png").string()
           << "\nWhen the new picture is right: ./test --update-goldens";
}

class Golden : public testing::TestWithParam<std::string> {};

TEST_P(Golden, LooksAsItDid) {
    const std::string& name = GetParam();
    const auto special = specialShots.find(name);
    expectPicture(name, sourceFolder() / "tests/cli/golden" / (name + ".png"),
                  special != specialShots.end() ? special->second : Shot{});
}

// A captured frame of a terminal with an editor in it.
TEST(GoldenOverlay, LooksAsItDid) {
    const fs::path folder = sourceFolder() / "tests/cli/overlay";
    expectPicture("tunnel", folder / "tunnel-with-editor.png", {},
                  {"--overlay", folder / "editor.png"});
}

INSTANTIATE_TEST_SUITE_P(Examples, Golden, testing::ValuesIn(exampleNames()), [](const auto& name) {
    std::string identifier = name.param;
    std::replace(identifier.begin(), identifier.end(), '-', '_');
    return identifier;
});

} // namespace
} // namespace cli::tests
