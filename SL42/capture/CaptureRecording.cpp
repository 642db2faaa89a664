// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/capture/CaptureRecording.h"

#include "platform/capture/ScalePicture.h"
#include "platform/media/MovieWriter.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace starloom {

/// An even number that movies can have.
static std::uint32_t movieExtent(std::uint32_t extent) {
    return std::clamp(extent / 2 * 2, 64U, 8190U);
}

CaptureRecording::~CaptureRecording() {
    end();
    if (m_thread.joinable())
        m_thread.join();
}

void CaptureRecording::start() {
    m_thread = std::thread([this] { finished(write()); });
}

void CaptureRecording::end() {
    {
        const platform::Lock lock(m_mutex);
        m_isEnding = true;
    }
    m_changed.notifyOne();
}

void CaptureRecording::show(const platform::CapturedPicture& picture) {
    const std::size_t rowLength = std::size_t{picture.width} * 4;
    {
        const platform::Lock lock(m_mutex);
        m_shown.width = picture.width;
        m_shown.height = picture.height;
        m_shown.pixels.resize(std::size_t{picture.width} * picture.height);
        for (std::size_t y = 0; y < picture.height; ++y)
            std::memcpy(m_shown.pixels.data() + y * picture.width,
                        picture.pixels.subspan(y * picture.bytesPerRow, rowLength).data(),
                        rowLength);
        m_isNew = true;
    }
    m_changed.notifyOne();
}

platform::Result<void> CaptureRecording::write() {
    Picture frame;
    if (!waitForFirst(frame))
        return platform::Error{"Nothing was captured"};
    auto movie = SL42_TRY(platform::MovieWriter::create(
        m_path.string(),
        {.width = frame.width, .height = frame.height, .frameRate = {framesPerSecond, 1}}));
    auto due = std::chrono::steady_clock::now();
    do {
        takeShown(frame);
        SL42_TRY_VOID(movie.writeFrame(frame.pixels));
        due += std::chrono::nanoseconds(std::chrono::seconds(1)) / framesPerSecond;
    } while (waitUntil(due));
    return movie.finish();
}

/// Gives the frame the size of the movie; false when there will be none.
bool CaptureRecording::waitForFirst(Picture& frame) {
    const platform::Lock lock(m_mutex);
    while (!m_isNew && !m_isEnding)
        m_changed.wait(m_mutex);
    frame.width = movieExtent(m_shown.width);
    frame.height = movieExtent(m_shown.height);
    return m_isNew;
}

/// False when it is time to end.
bool CaptureRecording::waitUntil(std::chrono::steady_clock::time_point time) {
    const platform::Lock lock(m_mutex);
    while (!m_isEnding && m_changed.waitUntil(m_mutex, time))
        continue;
    return !m_isEnding;
}

void CaptureRecording::takeShown(Picture& frame) {
    const platform::Lock lock(m_mutex);
    if (!std::exchange(m_isNew, false))
        return;
    frame.pixels.resize(std::size_t{frame.width} * frame.height);
    platform::scalePicture(m_shown.pixels, m_shown.width, m_shown.height, frame.pixels, frame.width,
                           frame.height);
}

} // namespace starloom
