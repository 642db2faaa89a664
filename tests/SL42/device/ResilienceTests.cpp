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
    void SetUp() override { device->setTimeLimit(std::chrono::milliseconds(500)); }
    void TearDown() override { device->setTimeLimit(std::chrono::seconds(2)); }
    long errorLines() const {
        return std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
            return line.starts_with("Error: ") && line.find("Compiling") == line.npos;
        });
    }
};

} // namespace

TEST_F(ResilienceTest, AHangingStageRestsWhileTheOthersGoOn) {
    start("void cpu() { if (core == 0) audioBuffer[0] = float2(peek32<int>(8) + 1);\n"
          "if (core == 0) poke32<int>(peek32<int>(8) + 1, 8); }\n"
          "void fx() { cls(1); while (time > 0) { registers[10]++; } }");
    drawFrame();
    drawFrame();
    EXPECT_EQ(audioMemory()[0], 2);
    clock.advance(platform::Seconds(1));
    drawFrame();
    EXPECT_EQ(errorLines(), 1);
    EXPECT_NE(engine->fault().get().find("video"), std::string::npos) << engine->fault().get();
    // Main memory survives, cpu() goes on counting, and there is a picture: nothing drawn.
    drawFrame();
    drawFrame();
    EXPECT_EQ(audioMemory()[0], 5);
    EXPECT_EQ(picture().at(5, 5), (Color{0, 0, 0, 0}));
    EXPECT_EQ(errorLines(), 1);
    engine->setSource("void fx() { cls(float3(peek32<int>(8) >= 5)); }");
    drawFrame();
    EXPECT_EQ(picture().at(5, 5), (Color{1, 1, 1, 1}));
    EXPECT_EQ(engine->fault().get(), "");
}

} // namespace starloom
