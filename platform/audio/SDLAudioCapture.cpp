// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/SDLAudioCapture.h"

#include "platform/base/Mutex.h"

#include <utility>

namespace platform {

/// One device between start() and stop(). SDL may hold on to it for longer; the mutex makes sure
/// that nobody hears from it then.
struct SDLAudioCapture::Session {
    void block(std::span<const float> samples) {
        const Lock lock(mutex);
        if (open)
            onBlock(samples);
    }
    void event(AudioCaptureEvent::Kind kind, const std::string& description) {
        const Lock lock(mutex);
        if (open)
            onEvent({kind, description});
    }
    void change(const SDLAudioChange& change);

    std::string device;
    BlockHandler onBlock;
    EventHandler onEvent;
    Mutex mutex;
    bool open SL42_GUARDED_BY(mutex) = true;
};

void SDLAudioCapture::Session::change(const SDLAudioChange& change) {
    switch (change.kind) {
    case SDLAudioChange::Kind::Opened:
        return event(AudioCaptureEvent::Kind::Started, device);
    case SDLAudioChange::Kind::Failed:
        return event(AudioCaptureEvent::Kind::Error, device + ": " + change.description);
    case SDLAudioChange::Kind::Lost:
        return event(AudioCaptureEvent::Kind::Interrupted, device + ": " + change.description);
    }
}

SDLAudioCapture::~SDLAudioCapture() {
    watchDevices({});
    stop();
}

void SDLAudioCapture::watchDevices(ListHandler onChange) {
    m_thread.watchCaptureDevices(std::move(onChange));
}

std::vector<AudioCaptureDevice> SDLAudioCapture::devices() {
    std::vector<AudioCaptureDevice> devices;
    for (std::string& name : m_thread.captureDevices())
        devices.push_back({.name = name, .identifier = name});
    return devices;
}

void SDLAudioCapture::start(const std::string& identifier, BlockHandler onBlock,
                            EventHandler onEvent) {
    stop();
    m_session = std::make_shared<Session>();
    m_session->device = identifier;
    m_session->onBlock = std::move(onBlock);
    m_session->onEvent = std::move(onEvent);
    const auto stream = std::make_shared<SDLAudioStream>();
    stream->kind = SDLAudioStream::Kind::Capture;
    stream->deviceName = identifier;
    stream->onBlock = [session = m_session](auto samples) { session->block(samples); };
    stream->onChange = [session = m_session](const auto& change) { session->change(change); };
    m_thread.keepOpen(stream);
}

void SDLAudioCapture::stop() {
    const auto session = std::exchange(m_session, nullptr);
    if (!session)
        return;
    m_thread.close(SDLAudioStream::Kind::Capture);
    session->event(AudioCaptureEvent::Kind::Stopped, session->device);
    const Lock lock(session->mutex);
    session->open = false;
}

} // namespace platform
