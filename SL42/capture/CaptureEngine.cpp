// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/capture/CaptureEngine.h"

#include <utility>

namespace starloom {

CaptureEngine::CaptureEngine(platform::WindowCapture& capture, platform::MainQueue& mainQueue)
    : m_capture(capture), m_anchor(mainQueue) {
    m_output.capturedFrameHandler = [this](CapturedFrame frame) { post(std::move(frame)); };
    m_output.pictureHandler = [this](const platform::CapturedPicture& picture) {
        const platform::Lock lock(m_mutex);
        if (m_onPicture)
            m_onPicture(picture);
    };
}

CaptureEngine::~CaptureEngine() {
    stop();
}

void CaptureEngine::start(const StreamConfiguration& configuration, const ContentFilter& filter,
                          FrameHandler onFrame, EventHandler onEvent) {
    m_onFrame = std::move(onFrame);
    m_onEvent = std::move(onEvent);
    update(configuration, filter);
}

void CaptureEngine::update(const StreamConfiguration& configuration, const ContentFilter& filter) {
    stop();
    const auto onPicture = [this, configuration](const platform::CapturedPicture& picture) {
        m_output.receive(picture, configuration.pixelsPerPoint);
    };
    const auto onEvent = [this, stream = m_stream](const platform::CaptureEvent& event) {
        m_anchor.async([this, stream, event = event] {
            if (stream == m_stream)
                m_onEvent(event);
        });
    };
    m_capture.start(filter.window, configuration.framesPerSecond, onPicture, onEvent);
}

void CaptureEngine::stop() {
    m_capture.stop();
    ++m_stream;
    const platform::Lock lock(m_mutex);
    m_newest.reset();
}

void CaptureEngine::setPictureHandler(
    std::function<void(const platform::CapturedPicture&)> handler) {
    const platform::Lock lock(m_mutex);
    m_onPicture = std::move(handler);
}

void CaptureEngine::post(CapturedFrame frame) {
    {
        const platform::Lock lock(m_mutex);
        if (std::exchange(m_newest, std::move(frame)))
            return; // the main thread has been told
    }
    m_anchor.async([this] { deliver(); });
}

void CaptureEngine::deliver() {
    std::optional<CapturedFrame> frame;
    {
        const platform::Lock lock(m_mutex);
        frame = std::exchange(m_newest, std::nullopt);
    }
    if (frame)
        m_onFrame(*frame);
}

} // namespace starloom
