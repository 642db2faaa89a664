// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Mixes looping songs into the blocks that an output device asks for, and keeps the time of it all.
//
// Two threads meet here. The main thread starts and ends voices; a device's callback renders. The
// callback takes no lock and no memory: it reads a fixed table of voices through atomics. A voice
// that has ended is freed on the main thread, once the block that may still read it is over.
//
// The mixer's time is a count of samples. While a device renders, it is the device's; between two
// blocks the clock fills in. While there is no device, or it has stalled, it is the clock's alone.
#pragma once

#include "platform/Clock.h"
#include "platform/audio/PCMBuffer.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace platform {

class AudioMixer {
public:
    static constexpr std::uint32_t sampleRate = 48000;
    /// How many songs can sound at once.
    static constexpr std::size_t voiceCount = 16;
    /// A change of volume by 1 takes this many samples; 1/60 s.
    static constexpr std::uint32_t rampLength = sampleRate / 60;
    /// A device that has not asked for a block for this many samples is not waited for; 1/4 s.
    static constexpr std::int64_t stallLength = sampleRate / 4;

    /// One song that is looped.
    class Voice {
    public:
        Voice(std::shared_ptr<const PCMBuffer> buffer, std::int64_t offset, float volume,
              std::int64_t requested)
            : m_buffer(std::move(buffer)),
              m_offset(offset),
              m_requested(requested),
              m_volume(volume),
              m_gain(volume) {}

        /// Main thread.
        void setVolume(float volume) { m_volume.store(volume, std::memory_order_relaxed); }

    private:
        friend AudioMixer;
        static constexpr std::int64_t notBegun = INT64_MIN;

        std::shared_ptr<const PCMBuffer> m_buffer;
        std::int64_t m_offset;    ///< sample of the loop that it begins at
        std::int64_t m_requested; ///< mixer time of begin()
        std::atomic<float> m_volume;
        std::atomic<std::int64_t> m_beginning = notBegun; ///< in mixer time
        std::atomic<bool> m_ending = false;               ///< set by the main thread
        std::atomic<bool> m_ended = false;                ///< set by the callback, at silence
        float m_gain;                                     ///< follows m_volume; the callback's own
    };

    /// `clock` must outlive the mixer, and be readable on any thread when a device renders.
    explicit AudioMixer(const Clock& clock);

    // The main thread's side.

    /// Loops a buffer, which must not be empty, from its sample `offset` on. Null when too many
    /// songs sound already.
    std::shared_ptr<Voice> begin(std::shared_ptr<const PCMBuffer> buffer, std::int64_t offset,
                                 float volume);
    /// Fades the voice out; it then goes by itself.
    void end(const std::shared_ptr<Voice>& voice);
    /// How far the voice is, counted from sample 0 of its buffer through all rounds.
    std::int64_t position(Voice& voice);
    /// Of the mix of all voices; changes as fast as a voice's own.
    void setOutputVolume(float volume) { m_outputVolume = volume; }
    /// Mixer time. Never goes backwards.
    std::int64_t time();
    /// Called by time() and position() when they find that the device has stalled.
    std::function<void()> onStall = [] {};

    // The device's side.

    /// A device has been opened: its first render() takes the time over from the clock.
    void attachDevice();
    /// The device has gone: time follows the clock again, and what a late callback gets is silence.
    void detachDevice();
    /// Mixes the next block of interleaved left and right samples, all within -1 and 1. No two
    /// calls may overlap.
    void render(std::span<float> interleaved);

private:
    enum class Driver { Clock, DeviceExpected, Device };

    std::int64_t clockTime() const;
    std::int64_t beginning(Voice& voice, std::int64_t now);
    bool claimTime();
    void mix(Voice& voice, std::int64_t blockTime, std::span<float> interleaved);
    void finish(std::span<float> interleaved);
    void collectEnded();
    void remove(std::size_t slot);

    const Clock& m_clock;
    /// What the callback sees; the main thread holds the same voices in m_owned.
    std::array<std::atomic<Voice*>, voiceCount> m_voices{};
    std::array<std::shared_ptr<Voice>, voiceCount> m_owned;
    std::atomic<float> m_outputVolume = 1;
    float m_outputGain = 1; ///< follows it; the callback's own
    /// Odd while a block is mixed.
    std::atomic<std::uint64_t> m_blockSequence = 0;

    std::atomic<Driver> m_driver = Driver::Clock;
    /// The clock's reading, in samples, at mixer time 0.
    std::atomic<std::int64_t> m_origin;
    /// Mixer time at the end of the last block, and that block's length.
    std::atomic<std::int64_t> m_renderedUntil = 0;
    std::atomic<std::int64_t> m_blockLength = 0;
    /// The last answer of time().
    std::int64_t m_lastTime = 0;
};

} // namespace platform
