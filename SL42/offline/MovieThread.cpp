// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/MovieThread.h"

#include "SL42/hardware/Screen.h"
#include "platform/image/Image.h"

#include <utility>

namespace starloom {

using platform::Lock;
using platform::Result;

/// Where they lie. A device that does wrong may write them still, so they are only ever values.
static Result<std::span<const std::uint16_t>> halvesOf(const gpu::Texture& picture) {
    constexpr std::size_t rowLength =
        screenWidth * platform::Image::channelsPerPixel * sizeof(std::uint16_t);
    const gpu::TextureRows rows = picture.rows(0);
    if (rows.bytesPerRow != rowLength || rows.bytes.size() != rowLength * screenHeight)
        return platform::Error{"the picture cannot be read back"};
    return std::span(reinterpret_cast<const std::uint16_t*>(rows.bytes.data()),
                     rows.bytes.size() / sizeof(std::uint16_t));
}

MovieThread::MovieThread(platform::MovieWriter writer, VideoCanvas canvas, bool repeats)
    : m_writer(std::move(writer)),
      m_canvas(std::move(canvas)),
      m_repeats(repeats),
      m_thread([this] { run(); }) {}

MovieThread::~MovieThread() {
    {
        const Lock lock(m_mutex);
        m_frames.clear();
        m_isLast = true;
    }
    m_changed.notifyAll();
    if (m_thread.joinable())
        m_thread.join();
}

Result<void> MovieThread::write(ShownPicture picture, FrameSound sound) {
    {
        const Lock lock(m_mutex);
        while (m_onTheirWay >= mostFrames)
            m_changed.wait(m_mutex);
        if (m_error)
            return *m_error;
        m_frames.push_back({std::move(picture), std::move(sound)});
        ++m_onTheirWay;
    }
    m_changed.notifyAll();
    return {};
}

Result<void> MovieThread::finish() {
    {
        const Lock lock(m_mutex);
        m_isLast = true;
    }
    m_changed.notifyAll();
    m_thread.join();
    {
        const Lock lock(m_mutex);
        if (m_error)
            return *m_error;
    }
    return m_writer.finish();
}

void MovieThread::run() {
    while (auto frame = nextFrame()) {
        const auto written = encode(*frame);
        frame.reset(); // there is room for another one
        frameDone(written);
    }
}

std::optional<MovieThread::Frame> MovieThread::nextFrame() {
    const Lock lock(m_mutex);
    while (m_frames.empty() && !m_isLast)
        m_changed.wait(m_mutex);
    if (m_frames.empty())
        return std::nullopt;
    Frame frame = std::move(m_frames.front());
    m_frames.pop_front();
    return frame;
}

void MovieThread::frameDone(const Result<void>& written) {
    {
        const Lock lock(m_mutex);
        --m_onTheirWay;
        if (!written && !m_error)
            m_error = written.error();
    }
    m_changed.notifyAll();
}

Result<void> MovieThread::encode(const Frame& frame) {
    if (frame.picture) {
        const auto halves = SL42_TRY(halvesOf(*frame.picture));
        SL42_TRY_VOID(encode(halves));
    } else {
        const platform::Image black(screenWidth, screenHeight);
        SL42_TRY_VOID(encode(black.halves()));
    }
    if (frame.sound[0].empty())
        return {};
    return m_writer.writeSound(frame.sound[0], frame.sound[1]);
}

Result<void> MovieThread::encode(std::span<const std::uint16_t> picture) {
    return m_repeats ? m_writer.writePicture(m_canvas.place(picture))
                     : m_writer.writeFrame(m_canvas.show(picture));
}

} // namespace starloom
