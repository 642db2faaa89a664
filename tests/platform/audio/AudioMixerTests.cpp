// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/SilentAudioEngine.h"
#include "tests/Allocations.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

namespace platform {
namespace {

/// Sample i is start + i / length * rise on the left, its negative on the right.
std::shared_ptr<const PCMBuffer> line(std::uint32_t length, float start, float rise) {
    const auto buffer = PCMBuffer::create(length);
    for (std::uint32_t i = 0; i < length; ++i) {
        buffer->channel(0)[i] = start + static_cast<float>(i) / static_cast<float>(length) * rise;
        buffer->channel(1)[i] = -buffer->channel(0)[i];
    }
    return buffer;
}
std::shared_ptr<const PCMBuffer> ramp(std::uint32_t length) {
    return line(length, 0, 1);
}
/// No two neighbouring samples are alike.
std::shared_ptr<const PCMBuffer> noise(std::uint32_t length) {
    const auto buffer = PCMBuffer::create(length);
    for (std::uint32_t i = 0; i < length; ++i) {
        buffer->channel(0)[i] = static_cast<float>(i * 2654435761U % 65536U) / 65536;
        buffer->channel(1)[i] = -buffer->channel(0)[i];
    }
    return buffer;
}
std::shared_ptr<const PCMBuffer> constant(float value) {
    return line(1000, value, 0);
}

float largestStep(const std::vector<float>& interleaved) {
    float largest = 0;
    for (std::size_t i = 2; i < interleaved.size(); ++i)
        largest = std::max(largest, std::abs(interleaved[i] - interleaved[i - 2]));
    return largest;
}

class AudioMixerTest : public testing::Test {
protected:
    /// What a device gets in one block, which takes as long as it plays.
    std::vector<float> block(std::size_t length = 1024) {
        std::vector<float> interleaved(2 * length);
        mixer.render(interleaved);
        clock.advance(Seconds(static_cast<double>(length) / AudioMixer::sampleRate));
        return interleaved;
    }
    std::vector<float> blocks(std::size_t count) {
        std::vector<float> all;
        for (std::size_t i = 0; i < count; ++i) {
            const auto next = block();
            all.insert(all.end(), next.begin(), next.end());
        }
        return all;
    }

    void wait(double samples) { clock.advance(Seconds(samples / AudioMixer::sampleRate)); }
    std::unique_ptr<MixerPlayerNode> play(std::shared_ptr<const PCMBuffer> song,
                                          std::int64_t start = 0) {
        auto node = std::make_unique<MixerPlayerNode>(mixer);
        node->schedule(std::move(song), start);
        node->play();
        return node;
    }

    ManualClock clock;
    AudioMixer mixer{clock};
};

} // namespace

TEST_F(AudioMixerTest, LoopsFromTheScheduledStart) {
    mixer.attachDevice();
    block();
    MixerPlayerNode node(mixer);
    EXPECT_FALSE(node.position());
    node.schedule(ramp(700), -300);
    node.play();
    EXPECT_EQ(node.position(), 300);
    const auto samples = block();
    for (std::size_t i = 0; i < 1024; ++i) {
        const float expected = static_cast<float>((i + 300) % 700) / 700;
        ASSERT_EQ(samples[2 * i], expected) << i;
        ASSERT_EQ(samples[2 * i + 1], -expected) << i;
    }
    EXPECT_EQ(node.position(), 1324);
    node.stop();
    EXPECT_FALSE(node.position());
    node.play(); // nothing is scheduled any more
    EXPECT_FALSE(node.isPlaying());
}

// However far the block is when a song replaces another, and however often: none of their samples
// moves. The gains of the two add up to 1, so the mix is that of one song that nobody disturbs.
TEST_F(AudioMixerTest, ANewSongBeginsInPhase) {
    mixer.attachDevice();
    constexpr std::uint32_t length = 5'000;
    const auto song = noise(length);
    const auto all = std::as_const(*song).channel(0);
    std::unique_ptr<AudioPlayerNode> playing = play(song);
    std::unique_ptr<AudioPlayerNode> fadingOut;
    std::int64_t heard = 0;
    std::vector<float> samples(2048);
    const auto expectNextBlock = [&](double until) {
        const std::size_t allocated = test::allocationCount();
        mixer.render(samples);
        EXPECT_EQ(test::allocationCount(), allocated);
        for (std::size_t i = 0; i < 1024; ++i, ++heard)
            ASSERT_NEAR(samples[2 * i], all[static_cast<std::size_t>(heard % length)], 1e-5)
                << heard;
        wait(until);
    };
    for (int save = 0; save < 50; ++save) {
        for (const double fraction : {0.0, 0.25, 0.5, 0.75, 0.99}) {
            const auto part = static_cast<std::int64_t>(fraction * 1024);
            expectNextBlock(static_cast<double>(part));
            const std::int64_t now = (heard - 1024 + part) % length;
            EXPECT_EQ(playing->position().value_or(-1) % length, now);
            fadingOut = std::exchange(playing, playing->playInPhase(noise(length)));
            EXPECT_EQ(playing->position(), now);
            playing->setVolume(1);
            fadingOut->setVolume(0);
            wait(static_cast<double>(1024 - part));
            EXPECT_EQ(playing->position(), now + 1024 - part);
            expectNextBlock(1024);
        }
    }
}

TEST_F(AudioMixerTest, SongsOfOtherLengthsBeginInPhase) {
    mixer.attachDevice();
    struct Row {
        const char* label;
        int blocks; ///< that the first song has been in when it is replaced
        std::int64_t start;
        std::uint32_t length;
        std::int64_t position; ///< after the change
    };
    for (const Row& row :
         {Row{"longer", 4, 0, 48'000, 3'372}, Row{"shorter", 4, 0, 300, 72},
          Row{"one sample", 4, 0, 1, 0}, Row{"from its middle", 4, -2'000, 3'000, 2'372},
          Row{"not heard yet", 0, -900, 700, 200}}) {
        const auto first = play(noise(1'000), row.start);
        if (row.blocks > 0)
            blocks(row.blocks - 1);
        std::vector<float> samples(2048);
        if (row.blocks > 0)
            mixer.render(samples);
        wait(300);
        const auto song = noise(row.length);
        const auto second = first->playInPhase(song);
        EXPECT_EQ(second->position(), row.position) << row.label;
        wait(724);
        first->setVolume(0);
        second->setVolume(1);
        blocks(1);
        // Time has passed for a song that was heard; another begins with the first block.
        const std::int64_t at = row.position + (row.blocks > 0 ? 724 : 0) + 1024;
        EXPECT_EQ(second->position(), at) << row.label;
        mixer.render(samples);
        for (std::size_t i = 0; i < 1024; ++i)
            ASSERT_EQ(samples[2 * i], song->channel(0)[(at + i) % row.length])
                << row.label << " " << i;
        wait(1024);
    }
}

TEST_F(AudioMixerTest, SmoothsChangesOfVolumeAndEndings) {
    mixer.attachDevice();
    const auto node = play(constant(0.5F));
    EXPECT_EQ(block().front(), 0.5F); // the beginning of a song is not softened
    std::vector<float> all = block();
    const auto go = [&] {
        const auto more = blocks(2);
        all.insert(all.end(), more.begin(), more.end());
    };
    for (const float volume : {0.0F, 0.7F, 0.2F, 1.0F}) {
        node->setVolume(volume);
        go();
        EXPECT_EQ(-all.back(), 0.5F * volume);
    }
    for (const float volume : {0.4F, 0.0F, 1.0F}) { // of all songs together
        mixer.setOutputVolume(volume);
        go();
        EXPECT_FLOAT_EQ(-all.back(), 0.5F * volume);
    }
    node->stop();
    go();
    EXPECT_EQ(-all.back(), 0.0F);
    EXPECT_LT(largestStep(all), 0.5001F / AudioMixer::rampLength);
}

TEST_F(AudioMixerTest, KeepsWhatProgramsComputeWithinRange) {
    mixer.attachDevice();
    const float infinite = std::numeric_limits<float>::infinity();
    const auto quiet = play(constant(0.25F));
    const std::pair<float, float> cases[] = {
        {std::nanf(""), 0.25F}, {infinite, 0.25F}, {-infinite, 0.25F}, {1e30F, 1}, {-9, -1}};
    for (const auto& [value, expected] : cases) {
        const auto wild = play(constant(value));
        EXPECT_EQ(block()[100], expected) << value;
        wild->setVolume(0);
        block();
    }
}

TEST_F(AudioMixerTest, KeepsTimeWithAndWithoutADevice) {
    MixerPlayerNode node(mixer);
    node.schedule(ramp(48000), 0);
    node.play();
    clock.advance(Seconds(1.5)); // no device: the clock
    EXPECT_EQ(node.position(), 72'000);
    mixer.attachDevice();
    EXPECT_EQ(node.position(), 72'000);
    EXPECT_EQ(block().at(2), 24'001.0F / 48000); // a device takes over where the clock is
    EXPECT_EQ(node.position(), 73'024);
    clock.advance(Seconds(0.1)); // a block is late: time waits
    EXPECT_EQ(node.position(), 73'024);
    int stalls = 0;
    int resumptions = 0;
    mixer.onStall = [&] { ++stalls; };
    mixer.onResume = [&] { ++resumptions; };
    clock.advance(Seconds(0.9)); // and then goes on without it
    EXPECT_EQ(node.position(), 73'024 + 48'000);
    EXPECT_EQ(node.position(), 73'024 + 48'000);
    EXPECT_EQ(stalls, 1);
    EXPECT_EQ(resumptions, 0);
    EXPECT_EQ(block().at(0), static_cast<float>(73'024 % 48'000) / 48000);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(node.position(), 73'024 + 48'000 + 1024);
    EXPECT_EQ(resumptions, 1);
    wait(47'000); // a stall that nobody has asked about
    EXPECT_EQ(block().at(0), static_cast<float>(73'024 % 48'000 + 24) / 48000);
    EXPECT_EQ(node.position(), 73'024 + 2 * 48'000 + 1048);
    mixer.detachDevice();
    EXPECT_EQ(block().at(0), 0.0F); // a late callback of a device that has gone
    clock.advance(Seconds(2));
    EXPECT_EQ(node.position(), 73'024 + 2 * 48'000 + 2072 + 96'000);

    // One that goes while it stalls, and another in its place: that is not this one's return.
    mixer.attachDevice();
    block();
    wait(24'000);
    mixer.time();
    EXPECT_EQ(stalls, 2);
    mixer.detachDevice();
    mixer.attachDevice();
    block();
    mixer.time();
    EXPECT_EQ(resumptions, 1);
}

TEST_F(AudioMixerTest, FreesVoicesOnTheMainThreadOnly) {
    mixer.attachDevice();
    const auto buffer = constant(1);
    for (int i = 0; i < 100; ++i) { // more than there is room for at once
        const auto node = play(buffer);
        ASSERT_TRUE(node->isPlaying()) << i;
        block();
    }
    mixer.detachDevice();
    play(constant(0));
    EXPECT_EQ(buffer.use_count(), 1);
}

TEST_F(AudioMixerTest, TheNewestOfTooManySongsIsHeard) {
    mixer.attachDevice();
    std::vector<std::unique_ptr<MixerPlayerNode>> nodes;
    for (std::size_t i = 0; i < AudioMixer::voiceCount; ++i)
        nodes.push_back(play(constant(0)));
    nodes.push_back(play(constant(0.25F)));
    EXPECT_EQ(block().front(), 0.25F);
    for (std::size_t i = 1; i < AudioMixer::voiceCount; ++i)
        nodes.push_back(play(constant(0)));
    EXPECT_EQ(block().front(), 0.25F) << "only the oldest went";
    nodes.push_back(play(constant(0)));
    EXPECT_EQ(block().front(), 0.0F);
    EXPECT_TRUE(nodes[1]->isPlaying());
    EXPECT_EQ(nodes[1]->position(), 3 * 1024) << "unheard, but in time";
}

TEST_F(AudioMixerTest, SurvivesChangesDuringBlocks) {
    SystemClock wallClock;
    AudioMixer shared(wallClock);
    shared.attachDevice();
    std::atomic<bool> done = false;
    std::thread device([&] {
        std::vector<float> samples(256);
        while (!done)
            shared.render(samples);
    });
    std::int64_t last = 0;
    for (int i = 0; i < 3000; ++i) {
        MixerPlayerNode node(shared);
        node.schedule(constant(0.1F), 0);
        node.play();
        node.setVolume(0.5F);
        const std::int64_t now = shared.time();
        ASSERT_GE(now, last);
        last = now;
    }
    done = true;
    device.join();
}

} // namespace platform
