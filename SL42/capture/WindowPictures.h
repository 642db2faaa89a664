// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What windows show, for a list of them: read on a thread of its own, because a large window takes
// some time, and a covered one longer.
#pragma once

#include "platform/MainQueueAnchor.h"
#include "platform/base/Mutex.h"
#include "platform/base/Result.h"
#include "platform/capture/WindowCapture.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <thread>

namespace starloom {

/// Makes the source of pictures of windows.
using MakeCapture = std::function<platform::Result<std::unique_ptr<platform::WindowCapture>>()>;

/// Main thread.
class WindowPictures {
public:
    /// Gets the pictures that could be read, on the main thread.
    using Handler = std::function<void(std::uint64_t window, const platform::WindowPicture&)>;

    /// The source is made and used by the thread alone.
    WindowPictures(MakeCapture makeCapture, platform::MainQueue& mainQueue, Handler onPicture);
    ~WindowPictures();
    WindowPictures(const WindowPictures&) = delete;
    WindowPictures& operator=(const WindowPictures&) = delete;

    /// Has one window's picture read; in place of one asked for before that has not been begun.
    void request(std::uint64_t window);

private:
    void run(const std::stop_token& stop);
    std::optional<std::uint64_t> waitForRequest(const std::stop_token& stop);

    MakeCapture m_makeCapture;
    Handler m_onPicture;
    platform::MainQueueAnchor m_anchor;
    platform::Mutex m_mutex;
    platform::Condition m_changed;
    std::optional<std::uint64_t> m_wanted SL42_GUARDED_BY(m_mutex);
    std::jthread m_thread; // last: it uses all the others
};

} // namespace starloom
