// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/FileWatcher.h"

#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>

namespace platform {

void PrintTo(FileEvent event, std::ostream* out) {
    *out << std::array{"moved away", "created", "modified", "written", "moved in", "unknown"}
            [static_cast<std::size_t>(event)];
}

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using enum FileEvent;

class FileWatcherTest : public testing::Test {
protected:
    static constexpr milliseconds latency{300}; // long, so that a busy machine does not matter

    void watch(const std::string& file, std::optional<Watching> watching = {}) {
        auto made = FileWatcher::watch(
            file, latency, queue,
            [this](auto events) { batches.emplace_back(events.begin(), events.end()); }, watching);
        ASSERT_TRUE(made) << made.error().message;
        watcher = std::move(*made);
    }
    /// In several goes.
    static void write(const std::string& file) {
        std::ofstream out(file);
        for (int line = 0; line < 5; ++line) {
            out << "text" << std::endl;
            std::this_thread::sleep_for(milliseconds(2));
        }
    }
    /// The next batch, and how long it took to come.
    std::vector<FileEvent> nextBatch() {
        const auto start = Clock::now();
        while (batches.empty() && Clock::now() - start < std::chrono::seconds(20))
            queue.waitAndRun(milliseconds(5));
        waited = Clock::now() - start;
        if (batches.empty())
            return {};
        auto batch = batches.front();
        batches.erase(batches.begin());
        return batch;
    }

    const tests::ScratchFolder folder;
    const std::string path = folder.path("show.metal");
    MainQueue queue;
    std::unique_ptr<FileWatcher> watcher;
    std::vector<std::vector<FileEvent>> batches;
    Clock::duration waited{};
};

TEST_F(FileWatcherTest, TellsWhatHappensToOneName) {
    write(path);
    watch(path);
    write(folder.path("other"));
    fs::rename(folder.path("other"), path);
    EXPECT_EQ(nextBatch(), std::vector{MovedIn});
    EXPECT_LT(waited, latency / 2); // the first one does not wait
    fs::rename(path, folder.path("show.metal~"));
    write(path);
    const auto batch = nextBatch();
    EXPECT_EQ(batch, (std::vector{MovedAway, Created, Modified, Written}));
    EXPECT_GT(waited, latency / 2); // the second one does, and brings everything along
    write(folder.path("other"));
    fs::rename(path, folder.path("gone"));
    EXPECT_EQ(nextBatch(), std::vector{MovedAway});
}

TEST_F(FileWatcherTest, AFolderMayComeBack) {
    const std::string inner = folder.path("inner");
    fs::create_directory(inner);
    watch(inner + "/show.metal");
    fs::remove_all(inner);
    fs::create_directory(inner);
    EXPECT_EQ(nextBatch(), std::vector{Unknown});
    fs::rename(inner, folder.path("elsewhere"));
    fs::create_directory(inner);
    EXPECT_EQ(nextBatch(), std::vector{Unknown});
    write(folder.path("elsewhere/show.metal"));
    write(inner + "/show.metal");
    EXPECT_EQ(nextBatch(), (std::vector{Created, Modified, Written}));
    queue.waitAndRun(latency * 2);
    EXPECT_TRUE(batches.empty());
}

// As on a network folder, where the system hears nothing.
TEST_F(FileWatcherTest, PollingSeesWhatHasBecomeOfTheFile) {
    write(path);
    watch(path, Watching::Polling);
    write(folder.path("other"));
    EXPECT_TRUE((queue.waitAndRun(3 * FileWatcher::pollInterval), batches.empty()));
    fs::rename(folder.path("other"), path);
    EXPECT_EQ(nextBatch(), std::vector{Unknown});
    write(path); // in place
    EXPECT_EQ(nextBatch(), std::vector{Unknown});
    std::ofstream growing(path);
    const auto start = Clock::now();
    while (Clock::now() - start < 3 * FileWatcher::pollInterval) {
        growing << "more" << std::flush;
        queue.waitAndRun(milliseconds(50));
    }
    EXPECT_TRUE(batches.empty()) << "it is still being written";
    EXPECT_EQ(nextBatch(), std::vector{Unknown});
}

TEST_F(FileWatcherTest, NothingComesOnceItIsGone) {
    watch(path);
    write(path);
    const auto deadline = Clock::now() + latency * 2;
    while (Clock::now() < deadline) {
    } // the event waits in the queue
    watcher.reset();
    EXPECT_GT(queue.pump(), 0U);
    EXPECT_TRUE(batches.empty());
}

} // namespace
} // namespace platform
