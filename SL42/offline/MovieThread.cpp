// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/MovieThread.h"

#include "SL42/hardware/Screen.h"

#include <utility>

namespace starloom {

using platform::Lock;
using platform::Result;

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

platform::Image MovieThread::unusedPicture() {
    const Lock lock(m_mutex);
    while (m_onTheirWay >= mostFrames)
        m_changed.wait(m_mutex);
    if (m_unused.empty())
        return {screenWidth, screenHeight};
    platform::Image picture = std::move(m_unused.back());
    m_unused.pop_back();
    return picture;
}

Result<void> MovieThread::write(platform::Image picture, FrameSound sound) {
    {
        const Lock lock(m_mutex);
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
        frameDone(std::move(frame->picture), written);
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

void MovieThread::frameDone(platform::Image picture, const Result<void>& written) {
    {
        const Lock lock(m_mutex);
        --m_onTheirWay;
        m_unused.push_back(std::move(picture));
        if (!written && !m_error)
            m_error = written.error();
    }
    m_changed.notifyAll();
}

Result<void> MovieThread::encode(const Frame& frame) {
    SL42_TRY_VOID(encode(frame.picture));
    if (frame.sound[0].empty())
        return {};
    return m_writer.writeSound(frame.sound[0], frame.sound[1]);
}

Result<void> MovieThread::encode(const platform::Image& picture) {
    return m_repeats ? m_writer.writePicture(m_canvas.place(picture))
                     : m_writer.writeFrame(m_canvas.show(picture));
}

} // namespace starloom
