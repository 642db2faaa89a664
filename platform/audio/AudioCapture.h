// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sound input as the console sees it: a list of devices, and one of them open at a time.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace platform {

struct AudioCaptureDevice {
    std::string name;
    /// Names the device for start(); stays the same while the device is there.
    std::string identifier;

    bool operator==(const AudioCaptureDevice&) const = default;
};

struct AudioCaptureEvent {
    enum class Kind {
        Started,     ///< blocks arrive from now on
        Error,       ///< the device cannot be opened; it is used when it can
        Interrupted, ///< the device has gone; it is used again when it comes back
        Stopped,     ///< as stop() asked
    };
    Kind kind;
    /// What there is to say about it, to be shown to a person.
    std::string description;
};

/// Main thread, but for the handlers.
class AudioCapture {
public:
    /// A power of two, as the analysis of the blocks wants it: 21 ms.
    static constexpr std::size_t blockLength = 1024;

    /// Gets blocks of mono samples at 48000 Hz, in order, on one thread of the capture at a time.
    using BlockHandler = std::function<void(std::span<const float> samples)>;
    /// Called on a thread of the capture.
    using EventHandler = std::function<void(const AudioCaptureEvent&)>;
    /// Likewise; is not to wait for anything.
    using ListHandler = std::function<void()>;

    virtual ~AudioCapture() = default;

    /// The devices that are there, as far as is known by now: after the start it takes a moment.
    /// The first one is what the system preferred when the list last changed.
    virtual std::vector<AudioCaptureDevice> devices() = 0;
    /// Calls `onChange` whenever devices() has come to answer something else; it replaces the
    /// former handler, which is not called any more when this has returned. An empty one ends the
    /// watch.
    virtual void watchDevices(ListHandler onChange) = 0;
    /// Opens a device in place of the one that is open. Returns at once; what becomes of it is told
    /// by events.
    virtual void start(const std::string& identifier, BlockHandler onBlock,
                       EventHandler onEvent) = 0;
    /// No block arrives after it has returned. Does nothing when nothing is open.
    virtual void stop() = 0;
};

/// For machines without sound and for rendering to files: there are no devices.
class SilentAudioCapture final : public AudioCapture {
public:
    std::vector<AudioCaptureDevice> devices() override { return {}; }
    void watchDevices(ListHandler) override {}
    void start(const std::string&, BlockHandler, EventHandler) override {}
    void stop() override {}
};

} // namespace platform
