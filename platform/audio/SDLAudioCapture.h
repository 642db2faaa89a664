// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Captures sound through SDL: microphones, and what other programs play (the monitors of outputs).
#pragma once

#include "platform/audio/AudioCapture.h"
#include "platform/audio/SDLAudioThread.h"

#include <memory>

namespace platform {

class SDLAudioCapture final : public AudioCapture {
public:
    /// The thread must outlive it.
    explicit SDLAudioCapture(SDLAudioThread& thread) : m_thread(thread) {}
    ~SDLAudioCapture() override;
    SDLAudioCapture(const SDLAudioCapture&) = delete;
    SDLAudioCapture& operator=(const SDLAudioCapture&) = delete;

    /// SDL makes the names unique, so that they are the identifiers too.
    std::vector<AudioCaptureDevice> devices() override;
    void watchDevices(ListHandler onChange) override;
    void start(const std::string& identifier, BlockHandler onBlock, EventHandler onEvent) override;
    void stop() override;

private:
    struct Session;

    SDLAudioThread& m_thread;
    std::shared_ptr<Session> m_session;
};

} // namespace platform
