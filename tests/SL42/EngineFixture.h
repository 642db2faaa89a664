// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What every test of a console starts from, whatever device it runs on: a clock that stands still,
// a log that is kept, and silence.
#pragma once

#include "SL42/console/SL42.h"
#include "platform/audio/SilentAudioEngine.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace starloom {

class EngineFixture : public testing::Test {
protected:
    /// A console around `device` with a `View`, to which `view` points as long as it has one.
    template <class View>
    Surroundings surroundingsOf(const std::shared_ptr<gpu::Device>& device, View*& view) {
        const auto makeView = [&view](const std::shared_ptr<gpu::Device>& gpuDevice) {
            std::unique_ptr<View> made;
            if constexpr (std::is_default_constructible_v<View>)
                made = std::make_unique<View>();
            else
                made = std::make_unique<View>(gpuDevice);
            view = made.get();
            return made;
        };
        return {.mainQueue = mainQueue,
                .clock = clock,
                .log = log,
                .audioEngine = *player,
                .audioCapture = audioCapture,
                .device = device,
                .makeView = makeView,
                .exactFrames = exactFrames};
    }
    /// Lets the tasks of the main queue run until there are none.
    void settle() {
        while (mainQueue.pump() > 0) {
        }
    }
    /// The same until `done`, for ten seconds at most; says whether it is.
    bool serveUntil(const std::function<bool()>& done) {
        for (int i = 0; i < 1000 && !done(); ++i)
            mainQueue.waitAndRun(std::chrono::milliseconds(10));
        return done();
    }
    /// Replaces the program and waits until it and its song are there.
    void compile(const std::string& source) {
        engine->setSource(source);
        EXPECT_TRUE(serveUntil([this] { return !engine->isBusy(); }));
        settle();
    }
    void setRegister(Register index, std::uint8_t value) {
        engine->machine().registers->contents()[static_cast<std::size_t>(index)] = std::byte{value};
    }

    platform::MainQueue mainQueue;
    platform::ManualClock clock;
    std::vector<std::string> lines;
    platform::Log log{[this](std::string_view line) { lines.emplace_back(line); }};
    platform::SilentAudioEngine silence{clock};
    platform::AudioEngine* player = &silence;
    platform::SilentAudioCapture audioCapture;
    bool exactFrames = true;
    std::unique_ptr<SL42> engine;
};

} // namespace starloom
