// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/MixerPlayerNode.h"
#include "tests/SL42/ConsoleFixture.h"

#include <algorithm>
#include <chrono>

namespace starloom {
namespace {

using Lines = std::vector<std::string>;

/// What a player was told, in order.
struct PlayerRecord {
    std::vector<float> volumes;
    std::vector<std::pair<std::uint32_t, std::int64_t>> schedules; ///< length, start
    const PlayerRecord* inPhaseWith = nullptr;
    std::int64_t position = 0;
    bool playing = false;
};

using PlayerRecords = std::vector<std::shared_ptr<PlayerRecord>>;

class RecordingNode final : public platform::AudioPlayerNode {
public:
    explicit RecordingNode(PlayerRecords& all)
        : m_all(all), m_record(all.emplace_back(std::make_shared<PlayerRecord>())) {}
    void schedule(std::shared_ptr<const PCMBuffer> buffer, std::int64_t start) override {
        m_record->schedules.emplace_back(buffer->frameLength(), start);
    }
    void setVolume(float volume) override { m_record->volumes.push_back(volume); }
    float volume() const override {
        return m_record->volumes.empty() ? 1 : m_record->volumes.back();
    }
    void play() override { m_record->playing = true; }
    void stop() override { m_record->playing = false; }
    bool isPlaying() const override { return m_record->playing; }
    std::unique_ptr<platform::AudioPlayerNode>
    playInPhase(std::shared_ptr<const PCMBuffer> buffer) override {
        auto node = std::make_unique<RecordingNode>(m_all);
        node->m_record->inPhaseWith = m_record.get();
        node->schedule(std::move(buffer), 0);
        node->setVolume(0);
        node->play();
        return node;
    }
    std::optional<std::int64_t> position() const override {
        return m_record->playing ? std::optional(m_record->position) : std::nullopt;
    }
    platform::Seconds latency() const override { return platform::Seconds(0); }

private:
    PlayerRecords& m_all;
    std::shared_ptr<PlayerRecord> m_record;
};

class TestEngine : public platform::AudioEngine {
public:
    std::uint32_t deviceIdentifier() const override { return 7; }
    platform::Seconds outputLatency() const override { return platform::Seconds(0); }
    void setOutputVolume(float) override {}
    std::int64_t time() override { return 0; }
    std::shared_ptr<platform::SoundTap> tap() override { return nullptr; }
};

class RecordingEngine final : public TestEngine {
public:
    platform::Result<void> start() override {
        return broken ? platform::Result<void>(platform::Error{"it does not start"})
                      : platform::Result<void>();
    }
    std::unique_ptr<platform::AudioPlayerNode> attachPlayerNode() override {
        return std::make_unique<RecordingNode>(players);
    }

    PlayerRecords players;
    bool broken = false;
};

/// Mixes as for a device, whose blocks the test asks for.
class MixingEngine final : public TestEngine {
public:
    explicit MixingEngine(platform::ManualClock& theClock) : mixer(theClock), clock(theClock) {}
    platform::Result<void> start() override {
        mixer.attachDevice();
        return {};
    }
    std::unique_ptr<platform::AudioPlayerNode> attachPlayerNode() override {
        return std::make_unique<platform::MixerPlayerNode>(mixer);
    }
    std::vector<float> block() {
        std::vector<float> samples(2048);
        mixer.render(samples);
        clock.advance(platform::Seconds(1024.0 / platform::AudioMixer::sampleRate));
        return samples;
    }

    platform::AudioMixer mixer;
    platform::ManualClock& clock;
};

class PlaybackTest : public ConsoleTest {
protected:
    /// A console without a program that plays through an engine.
    void startOn(platform::AudioEngine& used) {
        player = &used;
        start("");
        settle();
        lines.clear();
    }
    /// Compiles a song in which every sample has that value, and hands it to playback.
    void playSong(float value, const std::string& music = "{120, 4, 8, 1}") {
        device->audioValue = value;
        engine->setSource("int4 music = " + music + ";\nfloat2 sfx() { return " +
                          std::to_string(value) + "; }");
        settle();
    }
    Lines linesAbout(const std::string& word) const {
        Lines found;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
                     [&](const auto& line) { return line.find(word) != line.npos; });
        return found;
    }
    AudioRenderer& renderer() { return engine->audioRenderer(); }

    RecordingEngine output;
};

} // namespace

TEST_F(PlaybackTest, StartsWithTheFirstSong) {
    startOn(output);
    playSong(1);
    ASSERT_EQ(output.players.size(), 1U);
    EXPECT_EQ(output.players[0]->schedules.at(0), std::pair(768'000U, std::int64_t{0}));
    EXPECT_TRUE(output.players[0]->playing);
}

TEST_F(PlaybackTest, CrossfadesInPhaseOverABeat) {
    startOn(output);
    playSong(1);
    playSong(2, "{120, 4, 8, 2}");
    ASSERT_EQ(output.players.size(), 2U);
    const PlayerRecord& from = *output.players[0];
    const PlayerRecord& to = *output.players[1];
    EXPECT_EQ(to.schedules.at(0).first, 1'536'000U);
    EXPECT_EQ(to.inPhaseWith, &from);
    EXPECT_EQ(to.volumes, (std::vector<float>{0}));
    EXPECT_EQ(from.volumes, (std::vector<float>{1}));
    output.players[1]->position = 4'711;
    EXPECT_EQ(renderer().sample(), 4'711U);

    const auto start = std::chrono::steady_clock::now();
    serveUntil([&] { return !from.playing; });
    EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(400));
    ASSERT_EQ(to.volumes.size(), 31U); // half a second of ticks
    for (std::size_t tick = 0; tick <= 30; ++tick) {
        EXPECT_NEAR(to.volumes[tick], static_cast<double>(tick) / 30, 1e-5);
        EXPECT_EQ(from.volumes.at(tick), 1 - to.volumes[tick]);
    }
    EXPECT_TRUE(to.playing);
    EXPECT_EQ(output.players[0].use_count(), 1) << "its node is gone";
}

TEST_F(PlaybackTest, CutsACrossfadeShort) {
    startOn(output);
    playSong(1);
    playSong(2);
    serveUntil([&] { return output.players[1]->volumes.back() > 0.3F; });
    playSong(3);
    const PlayerRecord& second = *output.players[1];
    // What was fading in goes out from the full.
    EXPECT_EQ(*std::max_element(second.volumes.begin(), second.volumes.end()), 1.0F);
    serveUntil([&] { return !output.players[0]->playing; });
    EXPECT_LT(output.players[2]->volumes.back(), 0.5F); // at its next tick
    serveUntil([&] { return !second.playing; });
    EXPECT_EQ(output.players[2]->volumes.back(), 1.0F);
}

// Each long before the fade of the one before it has ended.
TEST_F(PlaybackTest, TwentySavesWithinASecondEndInOneSong) {
    MixingEngine mixing(clock);
    startOn(mixing);
    std::vector<std::weak_ptr<const PCMBuffer>> songs;
    for (int save = 0; save < 20; ++save) {
        playSong(0.5F);
        songs.push_back(renderer().audioBuffer());
        for (int i = 0; i < 2; ++i) {
            const auto samples = mixing.block();
            const auto [lowest, highest] = std::minmax_element(samples.begin(), samples.end());
            EXPECT_GT(*lowest, 0.1F) << save;
            EXPECT_LE(*highest, 1.0F) << save;
        }
    }
    EXPECT_EQ(renderer().sample(), 40U * 1024) << "in phase";
    const auto last = songs.back().lock();
    songs.pop_back();
    EXPECT_TRUE(serveUntil([&] {
        mixing.block();
        renderer().sample();
        return std::ranges::all_of(songs, [](const auto& song) { return song.expired(); });
    }));
    EXPECT_EQ(renderer().audioBuffer(), last);
    EXPECT_EQ(mixing.block(), std::vector<float>(2048, 0.5F));
    engine.reset();
}

TEST_F(PlaybackTest, StopsAndStartsOver) {
    startOn(output);
    playSong(1);
    const PlayerRecord& player = *output.players[0];
    renderer().setIsPlaying(false);
    EXPECT_TRUE(player.playing); // until the main queue gets to it
    EXPECT_EQ(renderer().sample(), 0U);
    settle();
    EXPECT_FALSE(player.playing);
    engine->reset(); // does not start it
    EXPECT_FALSE(player.playing);
    renderer().setIsPlaying(true);
    EXPECT_TRUE(player.playing);
    engine->reset();
    EXPECT_EQ(player.schedules.size(), 3U);
    EXPECT_EQ(player.schedules.back().second, 0);
    EXPECT_EQ(linesAbout("Initialising").size(), 1U);

    renderer().setIsPlaying(false);
    renderer().setIsPlaying(true); // before the main queue has stopped it
    settle();
    EXPECT_TRUE(output.players.back()->playing);

    playSong(2);
    const auto fadingOut = output.players.end() - 2;
    EXPECT_TRUE((*fadingOut)->playing);
    renderer().setIsPlaying(false);
    settle();
    EXPECT_EQ(fadingOut->use_count(), 1) << "its node is gone, too";
}

TEST_F(PlaybackTest, TriesAgainAfterAFailedStart) {
    startOn(output);
    output.broken = true;
    playSong(1);
    EXPECT_EQ(linesAbout("it does not start").size(), 1U);
    EXPECT_TRUE(linesAbout("latency").empty());
    EXPECT_EQ(renderer().sample(), 0U);
    output.broken = false;
    playSong(2);
    EXPECT_TRUE(output.players[0]->playing);
    EXPECT_EQ(linesAbout("Initialising").size(), 2U);
}

} // namespace starloom
