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

TEST(Render, SavesTheLastFrameOfTheOfflineClock) {
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

    ASSERT_EQ(
        runStarloom({"render", "-", "-o", out, "--frames", "3", "--fps", "10"}, gradient).status,
        0);
    EXPECT_EQ(bytesAt(*platform::readPng(out), 0, 0)[2], 51) << "the third frame is at 0.2 s";
    EXPECT_EQ(scratch.names(), Names{"out.png"});
}

TEST(Render, SavesEveryFrameUnderAPattern) {
    const ScratchFolder scratch;
    const Outcome run = runStarloom(
        {"render", "-", "-o", scratch.path("f%03d.png"), "--frames", "3", "--fps", "5"}, gradient);
    ASSERT_EQ(run.status, 0) << run.err;
    ASSERT_EQ(scratch.names(), (Names{"f000.png", "f001.png", "f002.png"}));
    const int blues[] = {0, 51, 102};
    for (std::size_t frame = 0; frame < 3; ++frame) {
        const auto image = platform::readPng(scratch.path(scratch.names()[frame]));
        EXPECT_EQ(bytesAt(*image, 0, 0)[2], blues[frame]);
    }
}

TEST(Render, MachineStateGoesOnFromFrameToFrame) {
    const ScratchFolder scratch;
    const char* counter = "void cpu() {\n    if (core == 0) poke32(peek32<uint>(0) + 1, 0);\n}\n"
                          "void fx() {\n    cls(float3(peek32<uint>(0) / 255.0,"
                          " lpix(coords).x, 0));\n}\n";
    const std::string out = scratch.path("out.png");
    ASSERT_EQ(runStarloom({"render", "-", "-o", out, "--frames", "40"}, counter).status, 0);
    EXPECT_EQ(bytesAt(*platform::readPng(out), 5, 5), (std::array<int, 3>{40, 39, 0}));
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

TEST(Render, AFailureWritesNoPicture) {
    struct Row {
        const char* what;
        std::string text;
        Names arguments;
        const char* message;
    };
    const ScratchFolder scratch;
    const std::string out = scratch.path("out.png");
    const Row rows[] = {
        {"does not compile",
         "void fx() {\n    cls(nonsense);\n}\n",
         {"-o", out},
         "Compilation failed:\nprogram_source:"},
        {"unknown kind of picture", gradient, {"-o", scratch.path("out.gif")}, ".png or .exr"},
        {"wrong pattern", gradient, {"-o", scratch.path("%s.png")}, "%s.png"},
        {"no such folder", gradient, {"-o", scratch.path("none/out.png")}, "cannot write"},
        {"too slow",
         "void fx() {\n    while (time < 1) cls(float3(time));\n}\n",
         {"-o", out, "--time-limit", "0.3"},
         "'video'"},
        {"wild address",
         "void cpu() {\n    poke8(1, -2000000000);\n}\nvoid fx() {\n    cls();\n}\n",
         {"-o", out},
         "'processor'"},
    };
    for (const Row& row : rows) {
        Names arguments{"render", "-"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        const Outcome run = runStarloom(arguments, row.text);
        EXPECT_EQ(run.status, 1) << row.what;
        EXPECT_EQ(run.out, "") << row.what;
        EXPECT_NE(run.err.find(row.message), std::string::npos) << row.what << ": " << run.err;
        EXPECT_EQ(scratch.names(), Names()) << row.what;
    }
}

TEST(Render, IsReproducible) {
    const ScratchFolder scratch;
    const std::string program = (sourceFolder() / "examples/particles.metal").string();
    for (const char* name : {"a.png", "b.png"})
        ASSERT_EQ(
            runStarloom({"render", program, "-o", scratch.path(name), "--frames", "12"}).status, 0);
    EXPECT_EQ(contentsOf(scratch.path("a.png")), contentsOf(scratch.path("b.png")));
}

} // namespace
} // namespace cli::tests
