// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The functions of the prelude that compute rather than draw. Core 0 stores what they return in
// the audio memory, which the host can read.
#include "platform/keyboard/FocusKeyStateSource.h"
#include "tests/SL42/device/DeviceFixture.h"

#include <bit>
#include <cmath>
#include <cstring>

namespace starloom {
namespace {

class FunctionTest : public DeviceTest {
protected:
    static std::uint32_t bits(float value) { return std::bit_cast<std::uint32_t>(value); }
};

std::uint32_t hash(std::uint32_t x) {
    const auto times = [](std::uint32_t a, std::uint64_t b) {
        return static_cast<std::uint32_t>(a * b % (std::uint64_t{1} << 32));
    };
    x = x ^ (x / 65536);
    x = times(x, 2146121005); // 0x7feb352d
    x = x ^ (x / 32768);
    x = times(x, 2221713035); // 0x846ca68b
    return x ^ (x / 65536);
}

} // namespace

TEST_F(FunctionTest, Coordinates) {
    const auto out = runOnCore0(R"(
        audioBuffer[0] = float2(coordsToIndex(float2(959.6, 0)), coordsToIndex(float2(0, 540)));
        audioBuffer[1] = float2(coordsToIndex(float2(3.4, 2.6)), coordsToIndex(float2(959, 539)));
        audioBuffer[2] = rotate2d(float2(3, 4), pi / 2);
        audioBuffer[3] = rotate2d(float2(1, 0), 1);
        audioBuffer[4] = resolution;
    )");
    const double expected[] = {960,           0,   3 * 960 + 3, 518399, -4, 3, std::cos(1.0),
                               std::sin(1.0), 960, 540};
    for (std::size_t i = 0; i < std::size(expected); ++i)
        EXPECT_NEAR(out[i], expected[i], 1e-5) << i;
}

TEST_F(FunctionTest, RandomNumbers) {
    const auto out = runOnCore0(R"(
        thread uint seed = randomSeed;
        audioBuffer[0] = as_type<float2>(uint2(seed, randomuint(12345u)));
        audioBuffer[1] = as_type<float2>(randomuint2());
        uint3 three = randomuint3();
        uint4 four = randomuint4();
        audioBuffer[2] = as_type<float2>(three.xy);
        audioBuffer[3] = as_type<float2>(uint2(three.z, four.x));
        audioBuffer[4] = as_type<float2>(four.yz);
        audioBuffer[5] = as_type<float2>(uint2(four.w, randomuint(0u)));
        audioBuffer[6] = float2(randomfloat(), randomfloat2().y);
        float3 f3 = randomfloat3();
        audioBuffer[7] = float2(f3.z, randomfloat4().w);
    )");
    std::uint32_t seed = hash(0); // of sample 0, core 0
    EXPECT_EQ(bits(out[0]), seed);
    EXPECT_EQ(bits(out[1]), hash(12345));
    for (std::size_t i = 2; i <= 10; ++i)
        EXPECT_EQ(bits(out[i]), seed = hash(seed)) << i;
    EXPECT_EQ(bits(out[11]), 0U);
    for (std::size_t steps = 1; steps <= 4; ++steps) {
        for (std::size_t step = 0; step < steps; ++step)
            seed = hash(seed);
        EXPECT_EQ(out[11 + steps], static_cast<float>(seed) / 4294967295.0F) << steps;
    }
}

TEST_F(FunctionTest, RandomSeedsFollowSampleAndThread) {
    start(R"(void cpu() { audioBuffer[core] = float2(as_type<float>(randomSeed), core); }
        void fx() {
            if (coords.x == 7 && coords.y == 11)
                audioBuffer[5000] = float2(as_type<float>(randomSeed), as_type<float>(sample));
        })");
    drawFrame();
    clock.advance(platform::Seconds(0.75));
    drawFrame();
    const auto out = audioMemory();
    for (const std::uint32_t core : {0U, 1U, 63U, 64U, 4095U}) {
        EXPECT_EQ(bits(out[2 * core]), hash(36000 + core));
        EXPECT_EQ(out[2 * core + 1], static_cast<float>(core));
    }
    EXPECT_EQ(bits(out[10000]), hash(36000U * 518400U + 7 + 11 * 960));
    EXPECT_EQ(bits(out[10001]), 36000U);
}

TEST_F(FunctionTest, AudioTimers) {
    start(R"(int4 music = {120, 4, 4, 4};
        void cpu() {
            if (core != 0) return;
            for (int i = 0; i < 3; i++) {
                sample = i == 0 ? 100000 : i == 1 ? 1535999 : 1700000;
                sampleRate = i == 2 ? 44100 : 48000;
                genAudioTimers();
                audioBuffer[3 * i] = float2(audioTimer.beatTime, audioTimer.barTime);
                audioBuffer[3 * i + 1] = float2(audioTimer.patternTime, audioTimer.beat);
                audioBuffer[3 * i + 2] = float2(audioTimer.bar, audioTimer.pattern);
            }
        })");
    drawFrame();
    const auto out = audioMemory();
    struct {
        unsigned sample, beatLength;
    } const cases[] = {{100000, 24000}, {1535999, 24000}, {1700000, 22050}};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto [sample, beat] = cases[i];
        const unsigned bar = beat * 4, pattern = bar * 4;
        EXPECT_NEAR(out[6 * i], double(sample % beat) / beat, 1e-6);
        EXPECT_NEAR(out[6 * i + 1], double(sample % bar) / bar, 1e-6);
        EXPECT_NEAR(out[6 * i + 2], double(sample % pattern) / pattern, 1e-6);
        EXPECT_EQ(out[6 * i + 3], static_cast<float>(sample / beat % 4));
        EXPECT_EQ(out[6 * i + 4], static_cast<float>(sample / bar % 4));
        EXPECT_EQ(out[6 * i + 5], static_cast<float>(sample / pattern % 4));
    }
}

TEST_F(FunctionTest, PeekAndPokeAtAnyAddress) {
    const auto out = runOnCore0(R"(
        for (int i = 0; i < 4; i++) {
            int at = 1001 + i;
            device float2* to = audioBuffer + 16 * i;
            poke32<float>(1.0, at);
            to[0] = float2(peek32<float>(at), peek8<uchar>(at + 2) * 256 + peek8<uchar>(at + 3));
            poke16<short>(-2, at);
            to[1] = float2(peek16<short>(at), peek16<ushort>(at + 1));
            poke64(float2(1.5, -2.5), at);
            to[2] = peek64<float2>(at);
            to[3] = float2(peek64<uint2>(at).x == 0x3fc00000, peek16<half>(at + 6));
            poke128(uint4(1, 2, 3, 0xfffffffe), at);
            to[4] = float2(peek128<uint4>(at).yz);
            to[5] = float2(peek128<int4>(at).w, peek8<uchar>(at + 4) + peek8<uchar>(at + 8));
            poke8(-1, at);
            poke8(300.0f - 256.0f, at + 1);
            to[6] = float2(peek8<char>(at), peek8<uchar>(at + 1));
            poke32(uchar4(1, 2, 3, 4), at);
            to[7] = float2(peek32<uint>(at) == 0x04030201, peek32<half2>(at).x == as_type<half>(ushort(0x0201)));
        }
        memory[67108863] = 77;
        audioBuffer[100] = float2(peek8<uchar>(67108863), peek8<uchar>(67108862));
    )");
    for (std::size_t i = 0; i < 4; ++i) {
        const auto* at = &out[32 * i];
        const float expected[] = {1, 0x803F, -2, 0x80FF, 1.5, -2.5, 1, -2.0625F,
                                  2, 3,      -2, 5,      -1,  44,   1, 1};
        for (std::size_t j = 0; j < std::size(expected); ++j)
            EXPECT_EQ(at[j], expected[j]) << "address " << 1001 + i << ", value " << j;
    }
    EXPECT_EQ(out[200], 77);
    EXPECT_EQ(out[201], 0);
}

TEST_F(FunctionTest, KeyboardMouseAndSpectrum) {
    start(R"(void cpu() {
        if (core != 0) return;
        audioBuffer[0] = float2(keydown('a'), keydown(Left));
        audioBuffer[1] = float2(keystroke('a'), keystroke(Left));
        audioBuffer[2] = mousepos();
        audioBuffer[3] = float2(mousebutton());
        audioBuffer[4] = float2(mouseclick());
        audioBuffer[5] = float2(fft(3), fft(255, Integrated));
        audioBuffer[6] = float2(fftsum(0, 5, Smoothed), fftsum(250, 6));
    })");
    const auto keys = std::make_shared<platform::FocusKeyStateSource>();
    keys->press(1, 'a', false);
    engine->keyboard().setSource(keys);
    engine->audioMonitor().setIsActive(false); // its spectrum is silence
    FFTValues spectrum;
    for (std::size_t bin = 0; bin < 256; ++bin) {
        spectrum.raw[bin] = static_cast<float>(bin);
        spectrum.smoothed[bin] = 1000 + static_cast<float>(bin);
        spectrum.integrated[bin] = 2000 + static_cast<float>(bin);
    }
    std::memcpy(engine->machine().fftBuffer->contents().data(), &spectrum, sizeof spectrum);
    MouseValues mouse;
    mouse.setMouseLocation({0.25, 0.5});
    mouse.setLeftMouseDown(true);
    engine->setMouseValues(mouse);
    drawFrame();
    const std::vector<float> first(audioMemory().begin(), audioMemory().begin() + 14);
    EXPECT_EQ(first, (std::vector<float>{1, 0, 1, 0, 240, 270, 1, 0, 1, 0, 3, 2255, 5010, 1515}));
    keys->release(1);
    keys->press(2, platform::arrowLeft, false);
    drawFrame();
    const std::vector<float> second(audioMemory().begin(), audioMemory().begin() + 10);
    EXPECT_EQ(second, (std::vector<float>{0, 1, 0, 1, 240, 270, 1, 0, 0, 1}));
}

TEST_F(FunctionTest, SongsAreRenderedSampleBySample) {
    start(R"(int4 music = {6000, 2, 3, 2};
        float2 sfx() { return float2(sample, time * sampleRate - audioTimer.beat); })");
    const auto buffer = engine->audioRenderer().audioBuffer();
    ASSERT_EQ(buffer->frameLength(), 480U * 12);
    for (std::uint32_t i = 0; i < buffer->frameLength(); ++i) {
        ASSERT_EQ(buffer->channel(0)[i], static_cast<float>(i));
        ASSERT_NEAR(buffer->channel(1)[i], i - i / 480 % 2, 0.01);
    }
}

} // namespace starloom
