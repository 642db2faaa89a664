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
    void watch(LiveCodingFile::Saves saves = LiveCodingFile::Saves::ByRename) {
        auto made = LiveCodingFile::watch(path, "old", saves, queue, log, received());
        ASSERT_TRUE(made) << made.error().message;
        file = std::move(*made);
    }
    LiveCodingFile::OnChange received() {
        return [this](const std::string& text) { texts.push_back(text); };
    }
    /// Lets events come in, until all is as it should be or for some time.
    void settleUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!done() && std::chrono::steady_clock::now() < end)
            queue.waitAndRun(std::chrono::milliseconds(2));
    }
    void settle(std::size_t textCount) {
        settleUntil([&] { return texts.size() >= textCount; }, std::chrono::seconds(20));
    }
    /// Long enough for every event that is on its way.
    void settle() {
        settleUntil([] { return false; }, 4 * LiveCodingFile::latency);
    }

    const ::tests::ScratchFolder folder;
    const std::string path = folder.file("show.metal", "old");
    platform::MainQueue queue;
    std::vector<std::string> lines;
    platform::Log log{[this](std::string_view line) { lines.emplace_back(line); }};
    std::vector<std::string> texts;
    std::unique_ptr<LiveCodingFile> file;
};

} // namespace starloom
