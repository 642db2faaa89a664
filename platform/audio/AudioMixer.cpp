// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/AudioMixer.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <utility>

namespace platform {
namespace {

constexpr float gainPerSample = 1.0F / AudioMixer::rampLength;

/// Programs may compute anything; what is not a number must not silence the other songs.
float finite(float sample) {
    return std::abs(sample) <= std::numeric_limits<float>::max() ? sample : 0;
}

std::int64_t loopPosition(std::int64_t position, std::int64_t length) {
    const std::int64_t remainder = position % length;
    return remainder < 0 ? remainder + length : remainder;
}

} // namespace

AudioMixer::AudioMixer(const Clock& clock) : m_clock(clock), m_origin(0) {
    m_origin = clockTime();
}

// Nearest, so that a clock which counts frames gives the same samples on every machine.
std::int64_t AudioMixer::clockTime() const {
    return std::llround(m_clock.now().count() * sampleRate) - m_origin;
}

std::shared_ptr<AudioMixer::Voice> AudioMixer::begin(std::shared_ptr<const PCMBuffer> buffer,
                                                     std::int64_t offset, float volume) {
    return insert(std::make_shared<Voice>(std::move(buffer), std::make_shared<Beginning>(time()),
                                          offset, volume));
}

std::shared_ptr<AudioMixer::Voice>
AudioMixer::beginInPhase(Voice& other, std::shared_ptr<const PCMBuffer> buffer, float volume) {
    const std::int64_t length = buffer->frameLength();
    assert(length > 0);
    const std::int64_t rounds = position(other) / length;
    return insert(std::make_shared<Voice>(std::move(buffer), other.m_beginning,
                                          other.m_offset - rounds * length, volume));
}

std::shared_ptr<AudioMixer::Voice> AudioMixer::insert(std::shared_ptr<Voice> voice) {
    assert(voice->m_buffer->frameLength() > 0);
    collectEnded();
    voice->m_number = ++m_voicesBegun;
    const auto slot = freeSlot();
    m_owned[slot] = std::move(voice);
    m_voices[slot] = m_owned[slot].get();
    return m_owned[slot];
}

std::size_t AudioMixer::freeSlot() {
    const auto age = [](const auto& voice) { return voice ? voice->m_number : 0; };
    const auto oldest = std::ranges::min_element(m_owned, {}, age);
    const auto slot = static_cast<std::size_t>(oldest - m_owned.begin());
    if (*oldest)
        remove(slot);
    return slot;
}

void AudioMixer::end(const std::shared_ptr<Voice>& voice) {
    voice->m_ending.store(true, std::memory_order_relaxed);
    collectEnded();
}

// Without a device nobody fades an ending voice out, and nobody hears it either.
void AudioMixer::collectEnded() {
    const bool unheard = m_driver == Driver::Clock;
    for (std::size_t slot = 0; slot < voiceCount; ++slot)
        if (const Voice* voice = m_owned[slot].get())
            if (voice->m_ended.load(std::memory_order_acquire) || (unheard && voice->m_ending))
                remove(slot);
    std::erase_if(m_removed,
                  [this](const Removed& voice) { return m_blockSequence != voice.sequence; });
}

// A block that began before the exchange may still read the voice; one that begins later cannot.
// The main thread does not wait for it: a busy machine may put the callback aside in its middle.
void AudioMixer::remove(std::size_t slot) {
    m_voices[slot] = nullptr;
    const std::uint64_t sequence = m_blockSequence;
    if (sequence % 2 == 1)
        m_removed.push_back({std::move(m_owned[slot]), sequence});
    m_owned[slot] = nullptr;
}

// Voices begin with the first block that they are in. Where none come, they began when it was asked
// for.
std::int64_t AudioMixer::timeOf(Beginning& beginning, std::int64_t now) {
    std::int64_t time = beginning.time;
    if (time != Beginning::unknown)
        return time;
    if (m_driver != Driver::Clock && now - beginning.requested < stallLength)
        return now;
    // When a block was faster, `time` becomes what that has stored.
    return beginning.time.compare_exchange_strong(time, beginning.requested) ? beginning.requested
                                                                             : time;
}

std::int64_t AudioMixer::position(Voice& voice) {
    collectEnded();
    const std::int64_t now = time();
    return voice.m_offset + std::max<std::int64_t>(now - timeOf(*voice.m_beginning, now), 0);
}

std::int64_t AudioMixer::time() {
    const std::int64_t now = clockTime();
    m_lastTime = std::max(m_lastTime, m_driver == Driver::Device ? deviceTime(now) : now);
    return m_lastTime;
}

std::int64_t AudioMixer::deviceTime(std::int64_t clockNow) {
    const std::int64_t until = m_renderedUntil;
    if (clockNow - until < stallLength) {
        if (m_stalled.exchange(false))
            onResume();
        return std::clamp(clockNow, until - m_blockLength, until);
    }
    Driver device = Driver::Device;
    if (!m_driver.compare_exchange_strong(device, Driver::DeviceExpected))
        return m_lastTime; // it has gone in this moment
    if (!m_stalled.exchange(true))
        onStall();
    return clockNow;
}

void AudioMixer::attachDevice() {
    m_stalled = false;
    m_driver = Driver::DeviceExpected;
}

void AudioMixer::detachDevice() {
    m_stalled = false;
    m_driver = Driver::Clock;
}

// A stall counts also when nobody has asked for the time meanwhile.
bool AudioMixer::claimTime() {
    const std::int64_t now = clockTime();
    Driver driver = Driver::DeviceExpected;
    const bool isTakingOver = m_driver.compare_exchange_strong(driver, Driver::Device);
    if (!isTakingOver && driver != Driver::Device)
        return false;
    if (isTakingOver || now - m_renderedUntil >= stallLength)
        m_renderedUntil = std::max<std::int64_t>(m_renderedUntil, now);
    return true;
}

void AudioMixer::render(std::span<float> interleaved) {
    std::fill(interleaved.begin(), interleaved.end(), 0.0F);
    if (!claimTime())
        return;
    ++m_blockSequence;
    const std::int64_t blockTime = m_renderedUntil;
    const auto blockLength = static_cast<std::int64_t>(interleaved.size() / 2);
    m_origin += clockTime() - blockTime;
    for (const auto& slot : m_voices)
        if (Voice* voice = slot; voice != nullptr && !voice->m_ended)
            mix(*voice, blockTime, interleaved);
    m_tap->write(blockTime, interleaved);
    finish(interleaved);
    m_blockLength = blockLength;
    m_renderedUntil = blockTime + blockLength;
    ++m_blockSequence;
}

// The volume comes before the limit, so that a song that is too loud suffers less when it is turned
// down.
void AudioMixer::finish(std::span<float> interleaved) {
    const float volume = m_outputVolume.load(std::memory_order_relaxed);
    for (std::size_t i = 0; i < interleaved.size(); ++i) {
        if (i % 2 == 0)
            m_outputGain += std::clamp(volume - m_outputGain, -gainPerSample, gainPerSample);
        interleaved[i] = std::clamp(interleaved[i] * m_outputGain, -1.0F, 1.0F);
    }
}

namespace {

/// Adds samples to a block, at a gain that changes by `gainStep` from each to the next.
void add(const float* left, const float* right, float* interleaved, std::size_t count, float gain,
         float gainStep) {
    for (std::size_t i = 0; i < count; ++i) {
        const float gainHere = gain + gainStep * static_cast<float>(i);
        interleaved[2 * i] += gainHere * finite(left[i]);
        interleaved[2 * i + 1] += gainHere * finite(right[i]);
    }
}

} // namespace

// The block falls into runs: at the end of the loop, and where the gain reaches the volume.
void AudioMixer::mix(Voice& voice, std::int64_t blockTime, std::span<float> interleaved) {
    std::int64_t beginning = Beginning::unknown;
    if (voice.m_beginning->time.compare_exchange_strong(beginning, blockTime))
        beginning = blockTime;
    const bool ending = voice.m_ending.load(std::memory_order_relaxed);
    const float target = ending ? 0 : voice.m_volume.load(std::memory_order_relaxed);
    const std::int64_t length = voice.m_buffer->frameLength();
    std::int64_t at = loopPosition(blockTime - beginning + voice.m_offset, length);
    const auto left = voice.m_buffer->channel(0);
    const auto right = voice.m_buffer->channel(1);

    for (std::size_t done = 0, count = interleaved.size() / 2; done < count;) {
        const float missing = target - voice.m_gain;
        const auto ramp =
            static_cast<std::size_t>(std::ceil(std::abs(missing) * AudioMixer::rampLength));
        const std::size_t rest = std::min(count - done, static_cast<std::size_t>(length - at));
        const std::size_t run = ramp > 0 ? std::min(rest, ramp) : rest;
        const float step = ramp > 0 ? std::copysign(gainPerSample, missing) : 0;
        const auto from = static_cast<std::size_t>(at);
        add(&left[from], &right[from], &interleaved[2 * done], run, voice.m_gain, step);
        voice.m_gain = run == ramp ? target : voice.m_gain + step * static_cast<float>(run);
        done += run;
        at = (at + static_cast<std::int64_t>(run)) % length;
    }
    if (ending && voice.m_gain == 0)
        voice.m_ended.store(true, std::memory_order_release);
}

} // namespace platform
