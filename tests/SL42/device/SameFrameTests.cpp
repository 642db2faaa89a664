// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The same frames on every machine: what a program writes to its registers takes effect in the very
// next frame, whatever else the machine does.
#include "SL42/offline/OfflineConsole.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sched.h>
#include <string>
#include <vector>

namespace starloom {
namespace {

/// Every register that the host acts on changes with every frame or every few, from cpu() and from
/// fx(); colours leave the range, and frames read the one before.
constexpr const char* restless = R"(
void cpu() {
    if (core != 0)
        return;
    int frame = peek32<int>(0);
    poke32<int>(frame + 1, 0);
    registers[BlendMode] = frame % 3;
    registers[HDR] = frame / 2 % 2;
}
void fx() {
    int frame = peek32<int>(0);
    if (coords.x == 0 && coords.y == 0)
        registers[ColorMode] = frame / 5 % 2;
    float4 last = lpix(coords);
    cls(float4(coords / 200, float(frame % 7) - 3, 1));
    circ(float2(480 + frame, 270), 90, float4(last.gbr * 1.5, 0.5));
}
float2 sfx() { return float2(sin(time)); }
)";

constexpr int frames = 300;

/// A number for each frame's picture.
std::vector<std::size_t> picturesOf(const std::shared_ptr<gpu::Device>& device) {
    OfflineConsole console(device, "restless", restless);
    EXPECT_TRUE(console.isComplete()) << console.compileLog();
    std::vector<std::size_t> pictures;
    for (int frame = 0; frame < frames; ++frame) {
        const auto drawn = console.drawFrame(platform::Seconds(frame / 60.0));
        EXPECT_TRUE(drawn) << drawn.error().message;
        const auto picture = console.picture();
        const auto bytes = std::as_bytes(picture->halves());
        pictures.push_back(std::hash<std::string_view>()(
            {reinterpret_cast<const char*>(bytes.data()), bytes.size()}));
    }
    return pictures;
}

/// The calling thread, and what it starts, may use so many cores while this lives.
class Cores {
public:
    explicit Cores(int count) {
        CPU_ZERO(&m_before);
        ::sched_getaffinity(0, sizeof m_before, &m_before);
        cpu_set_t some;
        CPU_ZERO(&some);
        for (int core = 0; core < CPU_SETSIZE && CPU_COUNT(&some) < count; ++core)
            if (CPU_ISSET(core, &m_before))
                CPU_SET(core, &some);
        ::sched_setaffinity(0, sizeof some, &some);
    }
    Cores(const Cores&) = delete;
    Cores& operator=(const Cores&) = delete;
    ~Cores() { ::sched_setaffinity(0, sizeof m_before, &m_before); }

private:
    cpu_set_t m_before{};
};

} // namespace

TEST(SameFrame, ThreeHundredFramesAreEqualByteForByteOnOneCoreAndOnTwo) {
    const auto onTwo = picturesOf(gpu::Device::systemDefault());
    ASSERT_EQ(onTwo.size(), frames);
    EXPECT_EQ(picturesOf(gpu::Device::systemDefault()), onTwo);
    const Cores one(1); // the service begins under it, too
    EXPECT_EQ(picturesOf(gpu::Device::systemDefault()), onTwo);
    // Neighbours differ: the test would see a register that takes effect a frame late.
    for (std::size_t frame = 1; frame < onTwo.size(); ++frame)
        EXPECT_NE(onTwo[frame], onTwo[frame - 1]) << frame;
}

} // namespace starloom
