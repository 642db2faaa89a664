// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Every example of the help, compiled and run as the console does it.
#include "SL42/audio/AudioRenderer.h"
#include "SL42/offline/OfflineConsole.h"
#include "app/help/HelpReference.h"
#include "platform/image/Png.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace help {
namespace {

class HelpExample : public testing::TestWithParam<const Entry*> {};

std::vector<const Entry*> withExamples() {
    std::vector<const Entry*> entries;
    for (const Section& section : HelpReference::builtIn().sections()) {
        for (const Entry& entry : section.entries)
            entries.push_back(&entry);
    }
    return entries;
}

} // namespace

TEST_P(HelpExample, Runs) {
    const Entry& entry = *GetParam();
    static const std::shared_ptr<gpu::Device> device = gpu::Device::systemDefault();
    starloom::OfflineConsole console(device, entry.title, entry.example);
    ASSERT_FALSE(console.hasError()) << console.compileLog();
    ASSERT_TRUE(console.isComplete()) << console.compileLog();
    // Registers count from the second frame on, and pictures that feed on themselves need some.
    for (int frame = 0; frame < 4; ++frame) {
        const auto drawn = console.drawFrame(platform::Seconds(0.25 + frame / 60.0));
        ASSERT_TRUE(drawn) << drawn.error().message;
    }
    const auto picture = console.picture();
    ASSERT_TRUE(picture) << picture.error().message;
    const auto halves = picture->halves();
    EXPECT_FALSE(std::ranges::equal(halves.subspan(4), halves.first(halves.size() - 4)))
        << "all pixels are the same";
    // For a look at all of them.
    if (const char* folder = std::getenv("SL42_HELP_PICTURES"))
        EXPECT_TRUE(platform::writePng(*picture, std::string(folder) + "/" + entry.id + ".png"));

    if (!console.engine().hasAudio())
        return;
    const auto song = console.engine().audioRenderer().audioBuffer();
    ASSERT_TRUE(song);
    float peak = 0;
    for (unsigned channel = 0; channel < 2; ++channel) {
        for (std::uint32_t i = 0; i < song->frameLength(); ++i)
            peak = std::max(peak, std::abs(song->channel(channel)[i]));
    }
    EXPECT_GT(peak, 0.1F) << "can be heard";
    EXPECT_LE(peak, 1.0F) << "is not cut off";
}

INSTANTIATE_TEST_SUITE_P(Entries, HelpExample, testing::ValuesIn(withExamples()),
                         [](const auto& name) {
                             std::string identifier = name.param->id;
                             std::replace(identifier.begin(), identifier.end(), '-', '_');
                             return identifier;
                         });

} // namespace help
