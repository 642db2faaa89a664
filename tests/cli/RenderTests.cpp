// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom render`: the files that it writes, and those that it leaves alone.
#include "platform/image/Exr.h"
#include "platform/image/Png.h"
#include "tests/cli/RunStarloom.h"

#include <gtest/gtest.h>

namespace cli::tests {
namespace {

using Names = std::vector<std::string>;

constexpr const char* gradient = "void fx() {\n    cls(float3(coords / resolution, time));\n}\n";

std::array<int, 3> bytesAt(const platform::Image& image, std::uint32_t x, std::uint32_t y) {
    const auto rgba = image.pixel(x, y);
    return {platform::toByte(rgba[0]), platform::toByte(rgba[1]), platform::toByte(rgba[2])};
}

TEST(Render, SavesFramesOfTheOfflineClock) {
    const ScratchFolder scratch;
    const std::string out = scratch.path("out.png");
    const Outcome first = runStarloom({"render", "-", "-o", out}, gradient);
    ASSERT_EQ(first.status, 0) << first.err;
    EXPECT_EQ(first.out, "");
    EXPECT_EQ(first.err, "") << "no progress bar unless somebody watches";
    const auto zero = platform::readPng(out);
    ASSERT_TRUE(zero) << zero.error().message;
    EXPECT_EQ(zero->width(), 960U);
    EXPECT_EQ(zero->height(), 540U);
    EXPECT_EQ(bytesAt(*zero, 480, 270), (std::array<int, 3>{128, 128, 0})) << "frame 0 is time 0";
    EXPECT_EQ(bytesAt(*zero, 0, 0), (std::array<int, 3>{0, 0, 0}));

    const auto blueIn = [&](const std::string& name) {
        return bytesAt(*platform::readPng(scratch.path(name)), 0, 0)[2];
    };
    for (const char* name : {"out.png", "f%03d.png"})
        EXPECT_EQ(
            runStarloom({"render", "-", "-o", scratch.path(name), "--frames", "3", "--fps", "5"},
                        gradient)
                .status,
            0);
    EXPECT_EQ(scratch.names(), (Names{"f000.png", "f001.png", "f002.png", "out.png"}));
    EXPECT_EQ(blueIn("out.png"), 102) << "the third frame is at 0.4 s";
    EXPECT_EQ(blueIn("f001.png"), 51) << "a pattern saves each of them";
}

TEST(Render, ExrHoldsWhatPngCutsOff) {
    const ScratchFolder scratch;
    const char* bright = "void cpu() {\n    registers[HDR] = 1;\n    registers[BlendMode] = "
                         "Replace;\n}\nvoid fx() {\n    cls(float4(4, -0.5, 0.25, 0.75));\n}\n";
    for (const char* name : {"out.exr", "out.png"}) {
        const Outcome run =
            runStarloom({"render", "-", "-o", scratch.path(name), "--frames", "2"}, bright);
        ASSERT_EQ(run.status, 0) << run.err;
    }
    const auto exr = platform::readExr(scratch.path("out.exr"));
    ASSERT_TRUE(exr) << exr.error().message;
    EXPECT_EQ(exr->pixel(10, 10), (std::array<float, 4>{4, -0.5F, 0.25F, 0.75F}));
    EXPECT_EQ(bytesAt(*platform::readPng(scratch.path("out.png")), 10, 10),
              (std::array<int, 3>{255, 0, 64}));
}

} // namespace
} // namespace cli::tests
