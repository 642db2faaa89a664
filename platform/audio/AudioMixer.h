// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Mixes looping songs into the blocks that an output device asks for, and keeps the time of it all.
//
// Two threads meet here. The main thread starts and ends voices; a device's callback renders. The
// callback takes no lock and no memory: it reads a fixed table of voices through atomics. A voice
// that has ended is freed on the main thread, once the block that may still read it is over;
// neither thread waits for the other.
//
// The mixer's time is a count of samples. While a device renders, it is the device's; between two
// blocks the clock fills in. While there is no device, or it has stalled, it is the clock's alone.
#pragma once

#include "platform/Clock.h"
#include "platform/audio/PCMBuffer.h"
#include "platform/audio/SoundTap.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace platform {

class AudioMixer {
    /// When a voice began, and all that are in phase with it: with the first block that one of them
    /// is in.
    struct Beginning {
        static constexpr std::int64_t unknown = INT64_MIN;

        explicit Beginning(std::int64_t now) : requested(now) {}

        const std::int64_t requested; ///< mixer time of begin()
        std::atomic<std::int64_t> time = unknown;
    };

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
        Voice(std::shared_ptr<const PCMBuffer> buffer, std::shared_ptr<Beginning> beginning,
              std::int64_t offset, float volume)
            : m_buffer(std::move(buffer)),
              m_beginning(std::move(beginning)),
              m_offset(offset),
              m_volume(volume),
              m_gain(volume) {}

        /// Main thread.
        void setVolume(float volume) { m_volume.store(volume, std::memory_order_relaxed); }

    private:
        friend AudioMixer;

        std::shared_ptr<const PCMBuffer> m_buffer;
        std::shared_ptr<Beginning> m_beginning;
        std::int64_t m_offset;      ///< its position at the beginning; may be negative
        std::uint64_t m_number = 0; ///< the older, the smaller
        std::atomic<float> m_volume;
        std::atomic<bool> m_ending = false; ///< set by the main thread
        std::atomic<bool> m_ended = false;  ///< set by the callback, at silence
        float m_gain;                       ///< follows m_volume; the callback's own
    };

    /// `clock` must outlive the mixer, and be readable on any thread when a device renders.
    explicit AudioMixer(const Clock& clock);

    // The main thread's side.

    /// Loops a buffer, which must not be empty, from its sample `offset` on. When too many songs
    /// sound already, the oldest is cut off.
    std::shared_ptr<Voice> begin(std::shared_ptr<const PCMBuffer> buffer, std::int64_t offset,
                                 float volume);
    /// Likewise, but in phase with another voice: at any time, both are at the same position modulo
    /// the length of the new one, which is in its first round now.
    std::shared_ptr<Voice> beginInPhase(Voice& other, std::shared_ptr<const PCMBuffer> buffer,
                                        float volume);
    /// Fades the voice out; it then goes by itself.
    void end(const std::shared_ptr<Voice>& voice);
    /// How far the voice is, counted from sample 0 of its buffer through all rounds.
    std::int64_t position(Voice& voice);
    /// Of the mix of all voices; changes as fast as a voice's own.
    void setOutputVolume(float volume) { m_outputVolume = volume; }
    /// Mixer time. Never goes backwards.
    std::int64_t time();
    /// Called by time() and position() when they find that the device has stalled, and that it
    /// renders again after that. A device that goes meanwhile is not said to be back here.
    std::function<void()> onStall = [] {};
    std::function<void()> onResume = [] {};

    /// What was mixed last, while a device asks for it; nothing without one.
    const std::shared_ptr<SoundTap>& tap() const { return m_tap; }

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
    std::shared_ptr<Voice> insert(std::shared_ptr<Voice> voice);
    std::size_t freeSlot();
    std::int64_t timeOf(Beginning& beginning, std::int64_t now);
    std::int64_t deviceTime(std::int64_t clockNow);
    bool claimTime();
    void mix(Voice& voice, std::int64_t blockTime, std::span<float> interleaved);
    void finish(std::span<float> interleaved);
    void collectEnded();
    void remove(std::size_t slot);

    const Clock& m_clock;
    /// What the callback sees; the main thread holds the same voices in m_owned.
    std::array<std::atomic<Voice*>, voiceCount> m_voices{};
    std::array<std::shared_ptr<Voice>, voiceCount> m_owned;
    std::uint64_t m_voicesBegun = 0;
    /// What a block that is still mixed may read, and the sequence number of that block.
    struct Removed {
        std::shared_ptr<Voice> voice;
        std::uint64_t sequence;
    };
    std::vector<Removed> m_removed;
    std::atomic<float> m_outputVolume = 1;
    const std::shared_ptr<SoundTap> m_tap = std::make_shared<SoundTap>();
    float m_outputGain = 1; ///< follows it; the callback's own
    /// Odd while a block is mixed.
    std::atomic<std::uint64_t> m_blockSequence = 0;

    std::atomic<Driver> m_driver = Driver::Clock;
    /// Whether the main thread waits for a stalled device to render again.
    std::atomic<bool> m_stalled = false;
    /// The clock's reading, in samples, at mixer time 0.
    std::atomic<std::int64_t> m_origin;
    /// Mixer time at the end of the last block, and that block's length.
    std::atomic<std::int64_t> m_renderedUntil = 0;
    std::atomic<std::int64_t> m_blockLength = 0;
    /// The last answer of time().
    std::int64_t m_lastTime = 0;
};

} // namespace platform
