// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Programs that are wrong in every way: the console goes on.
#include "tests/SL42/device/DeviceFixture.h"

#include <algorithm>

namespace starloom {
namespace {

class ResilienceTest : public DeviceTest {
protected:
    void SetUp() override {
        exactFrames = false;
        device->setTimeLimit(std::chrono::milliseconds(500));
    }
    void TearDown() override { device->setTimeLimit(std::chrono::seconds(2)); }
    long errorLines() const {
        return std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
            return line.starts_with("Error: ") && line.find("Compiling") == line.npos;
        });
    }
};

} // namespace

TEST_F(ResilienceTest, AHangingStageGoesBackWhileTheOthersGoOn) {
    start("void cpu() { if (core == 0) audioBuffer[0] = float2(peek32<int>(8) + 1);\n"
          "if (core == 0) poke32<int>(peek32<int>(8) + 1, 8); }\n"
          "void fx() { cls(float3(0.5)); }");
    drawFrame();
    drawFrame();
    EXPECT_EQ(audioMemory()[0], 2);
    const std::string hangs = "void fx() { cls(1);\nwhile (time >= 0) {\nregisters[10]++; } }";
    compile(hangs);
    drawFrame();
    EXPECT_EQ(errorLines(), 1);
    const std::string fault = engine->fault().get();
    EXPECT_NE(fault.find("the last good program goes on"), std::string::npos) << fault;
    EXPECT_EQ(picture().at(5, 5), (Color{0.5, 0.5, 0.5, 1})) << "what was shown last";
    // Main memory survives, cpu() goes on counting, and the picture is the last good program's.
    drawFrame();
    drawFrame();
    EXPECT_EQ(audioMemory()[0], 5);
    EXPECT_EQ(picture().at(5, 5), (Color{0.5, 0.5, 0.5, 1}));
    EXPECT_EQ(errorLines(), 1);
    compile("void fx() { cls(float3(peek32<int>(8) >= 5)); }");
    drawFrame();
    EXPECT_EQ(picture().at(5, 5), (Color{1, 1, 1, 1}));
    EXPECT_EQ(engine->fault().get(), "");
}

// What a program reads of the last picture is there again after a fault.
TEST_F(ResilienceTest, TheLastPictureSurvivesAFault) {
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
