// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/audio/ExportAAC.h"

#include "tests/ScratchFolder.h"
#include "tests/platform/media/MediaReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

namespace starloom {
namespace {

namespace fs = std::filesystem;

class ExportAAC : public testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(temporaryFolder);
        ::setenv("TMPDIR", temporaryFolder.c_str(), 1);
        std::ranges::fill(song->channel(0), 0.5F);
        std::ranges::fill(song->channel(1), -0.25F);
    }
    void TearDown() override { ::unsetenv("TMPDIR"); }

    /// With a user who answers `answer`.
    void save(std::optional<std::string> answer) {
        const auto panel = [&](const std::string& name) {
            proposals.push_back(name);
            EXPECT_EQ(left().size(), 1U);
            EXPECT_EQ(left().front().filename(), "temp.m4a");
            EXPECT_EQ(fs::status(left().front().parent_path()).permissions(), fs::perms::owner_all);
            return answer;
        };
        exportAAC(song.get(), panel, log);
    }

    /// The files that exports have left.
    std::vector<fs::path> left() const {
        std::vector<fs::path> files;
        for (const auto& entry : fs::recursive_directory_iterator(temporaryFolder))
            if (entry.is_regular_file())
                files.push_back(entry.path());
        return files;
    }

    tests::ScratchFolder scratch;
    std::string temporaryFolder = scratch.path("temporary");
    std::string destination = scratch.path("song.m4a");
    std::shared_ptr<platform::PCMBuffer> song = platform::PCMBuffer::create(768'000);
    std::vector<std::string> lines;
    platform::Log log{[this](std::string_view line) { lines.emplace_back(line); }};
    std::vector<std::string> proposals;
};

TEST_F(ExportAAC, SavesTheWholeSongUnderTheChosenName) {
    save(destination);
    EXPECT_EQ(proposals, std::vector<std::string>{"Drumwheel.m4a"});
    EXPECT_TRUE(lines.empty()) << lines.front();
    EXPECT_TRUE(fs::is_empty(temporaryFolder));
    const auto sound = platform::tests::readSound(destination);
    ASSERT_TRUE(sound) << sound.error().message;
    EXPECT_EQ(sound->codec, "aac");
    EXPECT_EQ(sound->duration, 768'000);
    for (const std::size_t channel : {0U, 1U})
        EXPECT_NEAR(sound->channels[channel][400'000], channel == 0 ? 0.5 : -0.25, 0.02);
}

TEST_F(ExportAAC, KeepsAFileThatHasTheName) {
    std::ofstream(destination) << "precious";
    save(destination);
    ASSERT_EQ(left().size(), 1U);
    EXPECT_EQ(lines, std::vector<std::string>{"Failed to move exported file: cannot move " +
                                              left().front().string() + " to " + destination +
                                              ": File exists"});
    EXPECT_EQ(fs::file_size(destination), 8U);
}

TEST_F(ExportAAC, LeavesTheTemporaryFileWhenTheUserThinksBetterOfIt) {
    save(std::nullopt);
    EXPECT_TRUE(lines.empty()) << lines.front();
    EXPECT_EQ(left().size(), 1U);
}

TEST_F(ExportAAC, SaysWhyThereIsNothingToSave) {
    song = nullptr;
    save(destination);
    EXPECT_EQ(lines.at(0), "Attempted to export, but no audio available");

    song = platform::PCMBuffer::create(480);
    ::setenv("TMPDIR", "/proc", 1); // where nobody can make a folder
    save(destination);
    EXPECT_EQ(
        lines.at(1).rfind("Failed to write audio export file: cannot make the folder /proc/", 0),
        0U)
        << lines.at(1);
    EXPECT_TRUE(proposals.empty());
}

} // namespace
} // namespace starloom
