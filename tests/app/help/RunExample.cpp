// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/app/help/RunExample.h"

#include "SL42/audio/AudioRenderer.h"
#include "SL42/offline/OfflineConsole.h"
#include "platform/image/Png.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace help::tests {
namespace {

const std::shared_ptr<gpu::Device>& device() {
    static const std::shared_ptr<gpu::Device> device = gpu::Device::systemDefault();
    return device;
}

platform::Result<platform::Image> drawn(starloom::OfflineConsole& console) {
    if (console.hasError() || !console.isComplete() || !console.engine().warnings().get().empty())
        return platform::Error{console.compileLog()};
    // Registers count from the second frame on, and pictures that feed on themselves need some.
    for (int frame = 0; frame < 4; ++frame) {
        const auto done = console.drawFrame(platform::Seconds(0.25 + frame / 60.0));
        if (!done)
            return done.error();
    }
    return console.picture();
}

void expectSong(const starloom::PCMBuffer& song) {
    float peak = 0;
    for (unsigned channel = 0; channel < 2; ++channel) {
        for (std::uint32_t i = 0; i < song.frameLength(); ++i)
            peak = std::max(peak, std::abs(song.channel(channel)[i]));
    }
    EXPECT_GT(peak, 0.1F) << "can be heard";
    EXPECT_LE(peak, 1.0F) << "is not cut off";
}

} // namespace

platform::Result<platform::Image> pictureOf(const std::string& title, const std::string& source) {
    starloom::OfflineConsole console(device(), title, source);
    return drawn(console);
}

void expectRuns(const std::string& title, const std::string& source) {
    starloom::OfflineConsole console(device(), title, source);
    const auto picture = drawn(console);
    ASSERT_TRUE(picture) << picture.error().message;
    // For a look at all of them.
    if (const char* folder = std::getenv("SL42_HELP_PICTURES"))
        EXPECT_TRUE(platform::writePng(*picture, std::string(folder) + "/" + title + ".png"));
    const auto halves = picture->halves();
    EXPECT_FALSE(!console.engine().hasAudio() &&
                 std::ranges::equal(halves.subspan(4), halves.first(halves.size() - 4)))
        << "all pixels are the same";
    if (!console.engine().hasAudio())
        return;
    const auto song = console.engine().audioRenderer().audioBuffer();
    ASSERT_TRUE(song);
    expectSong(*song);
}

} // namespace help::tests
