// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the generator asks of a device, when it waits, and what it does when the device fails.
#include "SL42/font/FontTextureGenerator.h"
#include "tests/SL42/FakeDevice.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

namespace starloom {
namespace {

class FontTextureGeneratorOnFakeDevice : public testing::Test {
protected:
    std::unique_ptr<FontTextureGenerator> make() {
        return std::make_unique<FontTextureGenerator>(device, device->makeCommandQueue(), log,
                                                      FontNames(), 512);
    }
    /// Asks once a millisecond, as a frame loop does, until `done`.
    template <class Done>
    static void poll(FontTextureGenerator& generator, Done done) {
        for (int frame = 0; frame < 20000 && !done(); ++frame) {
            generator.textureSoFar();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ASSERT_TRUE(done());
    }

    std::shared_ptr<fake::Device> device = std::make_shared<fake::Device>();
    std::vector<std::string> lines;
    platform::Log log{[this](std::string_view line) { lines.emplace_back(line); }};
};

TEST_F(FontTextureGeneratorOnFakeDevice, FrameLoopsNeverWait) {
    device->completesAtOnce = false;
    const auto generator = make();
    const auto texture = generator->textureSoFar();
    for (std::size_t step = 0; step <= fontStyleCount; ++step) {
        poll(*generator, [&] { return !device->pending.empty(); });
        EXPECT_FALSE(generator->isComplete()) << "the device has not done it yet";
        EXPECT_EQ(generator->textureSoFar(), texture);
        EXPECT_EQ(device->pending.size(), 1U) << "one step at a time";
        device->completeNext();
    }
    EXPECT_EQ(generator->textureSoFar(), texture);
    EXPECT_TRUE(generator->isComplete());
    EXPECT_EQ(generator->texture(), texture);
    EXPECT_EQ(device->commandBuffers.size(), fontStyleCount + 1) << "drawn once";
}

TEST_F(FontTextureGeneratorOnFakeDevice, LostWorkIsDoneAgainButNotForever) {
    device->completesAtOnce = false;
    const gpu::CommandBufferError lost{.code = gpu::CommandBufferError::Code::ServiceLost,
                                       .message = "the compute service was lost",
                                       .kernel = {}};
    const auto recovering = make();
    poll(*recovering, [&] { return device->pending.size() == 1; });
    device->completeNext(lost);
    recovering->texture();
    EXPECT_EQ(device->commandBuffers.size(), fontStyleCount + 2) << "one step twice";
    EXPECT_TRUE(lines.empty()) << lines.front();

    const auto failing = make();
    for (int attempt = 0; attempt < 3; ++attempt) {
        poll(*failing, [&] { return device->pending.size() == 1; });
        device->completeNext(lost);
    }
    failing->textureSoFar();
    EXPECT_TRUE(failing->isComplete());
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0],
              "Error: text is incomplete, because the font failed: the compute service was lost");
}

TEST_F(FontTextureGeneratorOnFakeDevice, WorkerThatCannotCompileIsReplacedAndAtLastDoneWithout) {
    device->brokenKernels = {"addFontChannel"};
    const auto failing = make();
    failing->texture();
    EXPECT_TRUE(failing->isComplete());
    EXPECT_EQ(device->replacedWorkers, 2);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(lines[2].starts_with("Error: there is no text")) << lines[2];
}

TEST_F(FontTextureGeneratorOnFakeDevice, FailuresOfTheMachineStopTheProgram) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const tests::ScratchFolder folder;
    const std::string noFonts = folder.file("fonts.conf", "<fontconfig></fontconfig>");
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { device->refusesCommandBuffers = true; },
         "Failed to create command buffer for font generator"},
        {[&] { ::setenv("FONTCONFIG_FILE", noFonts.c_str(), 1); },
         "Could not create CGContext for font renderin"}};
    for (const auto& [fail, message] : cases)
        EXPECT_DEATH((fail(), make()->texture()), message);
}

} // namespace
} // namespace starloom
