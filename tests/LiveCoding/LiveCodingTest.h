// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A watched source file, and what the console hears of it.
#pragma once

#include "LiveCoding/LiveCodingFile.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace starloom {

class LiveCodingTest : public testing::Test {
protected:
    using Clock = std::chrono::steady_clock;

    void watch() {
        auto made = LiveCodingFile::watch(path, "old", queue, log, received());
        ASSERT_TRUE(made) << made.error().message;
        file = std::move(*made);
    }
    LiveCodingFile::OnChange received() {
        return [this](const std::string& text) { texts.push_back(text); };
    }
    /// Lets events come in, until there is a text or for some time.
    void settle(std::size_t textCount, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
        const auto end = Clock::now() + limit;
        while (texts.size() < textCount && Clock::now() < end)
            queue.waitAndRun(std::chrono::milliseconds(2));
    }
    /// Long enough for every event that is on its way.
    void settle() { settle(SIZE_MAX, 4 * LiveCodingFile::latency); }

    const ::tests::ScratchFolder folder;
    const std::string path = folder.file("show.metal", "old");
    platform::MainQueue queue;
    std::vector<std::string> lines;
    platform::Log log{[this](std::string_view line) { lines.emplace_back(line); }};
    std::vector<std::string> texts;
    std::unique_ptr<LiveCodingFile> file;
};

} // namespace starloom
