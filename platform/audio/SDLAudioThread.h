// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The one thread that talks to SDL's audio subsystem. A sound server may take seconds to answer, or
// never do; so nobody else waits for it. Whoever wants a device says so, and the thread opens it,
// watches it, and opens it again after it has gone, whether it was pulled out or its sound server
// died.
#pragma once

#include "platform/Clock.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace platform {

struct SDLAudioChange {
    enum class Kind { Opened, Failed, Lost };
    Kind kind;
    /// For a person: the device's name, or what SDL says about the failure.
    std::string description;
    /// Of an opened device.
    std::uint32_t identifier = 0;
    Seconds latency{0};
};

/// A device that somebody wants to be open: 32-bit floats at 48000 Hz, in blocks of 1024 samples a
/// channel. The functions may be called until the thread has let go of the last reference.
struct SDLAudioStream {
    enum class Kind { Output, Capture };
    Kind kind = Kind::Output;
    /// Empty for the system's default device.
    std::string deviceName;
    /// Called on a thread of SDL: fills a block of interleaved left and right samples, or takes a
    /// block of mono samples.
    std::function<void(std::span<float> block)> onBlock;
    /// Called on the SDLAudioThread: before the first block, when the device goes, and once when
    /// it cannot be opened.
    std::function<void(const SDLAudioChange& change)> onChange;
};

/// Main thread. Starts looking for devices when it is made.
class SDLAudioThread {
public:
    SDLAudioThread();
    /// Closes the devices. A thread that waits for a dead sound server is left to itself.
    ~SDLAudioThread();
    SDLAudioThread(const SDLAudioThread&) = delete;
    SDLAudioThread& operator=(const SDLAudioThread&) = delete;

    /// Keeps a device open in place of the former one of that kind. Returns at once.
    void keepOpen(std::shared_ptr<const SDLAudioStream> stream);
    /// Lets the device of a kind be closed. Returns at once.
    void close(SDLAudioStream::Kind kind);
    /// Names of what sound can be captured from, as far as known: the default device first. Devices
    /// that come and go are noticed within some hundred milliseconds, a sound server that comes
    /// within some seconds.
    std::vector<std::string> captureDevices() const;
    /// Calls `onChange` on the thread after every change of these names. The former handler is not
    /// called any more when this has returned.
    void watchCaptureDevices(std::function<void()> onChange);

private:
    struct Shared;
    std::shared_ptr<Shared> m_shared;
};

} // namespace platform
