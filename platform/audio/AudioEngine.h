// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sound output as the console sees it: an engine with player nodes, each of which loops one song.
// The engine mixes the nodes at 48000 Hz in stereo. It always has a time: where there is no device,
// or while there is none, nothing is heard and the players go on by the clock.
#pragma once

#include "platform/Clock.h"
#include "platform/audio/PCMBuffer.h"
#include "platform/audio/SoundTap.h"
#include "platform/base/Result.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace platform {

/// Main thread. A node is attached to its engine from the time it is made until it goes; its sound
/// ends then. The engine must outlive it.
class AudioPlayerNode {
public:
    virtual ~AudioPlayerNode() = default;

    /// What the next play() loops. Sample 0 of the buffer belongs at player time `start`, which is
    /// not positive; play() begins at player time 0, and so inside the loop.
    virtual void schedule(std::shared_ptr<const PCMBuffer> buffer, std::int64_t start) = 0;
    /// 1 is the full volume of the song. While a node plays, changes are smoothed over some
    /// milliseconds, so that they do not click.
    virtual void setVolume(float volume) = 0;
    virtual float volume() const = 0;
    /// Plays what is scheduled. Does nothing when there is nothing, when that is empty, and when
    /// the node plays already.
    virtual void play() = 0;
    /// Fades out within some milliseconds. Forgets what was scheduled.
    virtual void stop() = 0;
    virtual bool isPlaying() const = 0;
    /// A new node of the same engine that plays the buffer already, at volume 0: each of its
    /// samples sounds when this node plays the one of the same number, modulo the length of the
    /// loop, to the sample. Its position is within its first round. Null while this node does not
    /// play; the buffer must not be empty.
    virtual std::unique_ptr<AudioPlayerNode>
    playInPhase(std::shared_ptr<const PCMBuffer> buffer) = 0;

    /// How many samples of the scheduled buffer have passed, counted from the buffer's sample 0 and
    /// on through all rounds of the loop; none while the node does not play. Never goes backwards.
    virtual std::optional<std::int64_t> position() const = 0;
    /// What the node itself adds to the delay of the sound.
    virtual Seconds latency() const = 0;
};

/// Main thread.
class AudioEngine {
public:
    virtual ~AudioEngine() = default;

    /// Opens the output device, waiting for it only for a moment. That there is no device is no
    /// error: the engine then goes on looking for one.
    virtual Result<void> start() = 0;
    virtual std::unique_ptr<AudioPlayerNode> attachPlayerNode() = 0;
    /// Of everything that is heard: 1 is the songs' own volume, 0 silence. Changes are smoothed.
    virtual void setOutputVolume(float volume) = 0;
    /// The time that players' positions follow, in samples. Never goes backwards.
    virtual std::int64_t time() = 0;
    /// What is heard, for those who record it, by that time. It may outlive the engine.
    virtual std::shared_ptr<SoundTap> tap() = 0;
    /// The number that the system knows the open device by; 0 when there is none.
    virtual std::uint32_t deviceIdentifier() const = 0;
    /// How long after it was mixed a sample leaves the machine, as far as known.
    virtual Seconds outputLatency() const = 0;
};

} // namespace platform
