// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A video that is made while the window goes on drawing: on a thread of its own, by a console and a
// device of its own.
#pragma once

#include "SL42/offline/VideoExport.h"

#include <QObject>

#include <functional>
#include <stop_token>
#include <string>
#include <thread>

namespace app {

/// Main thread. Stops early, without a file, when it goes before it has finished.
class VideoTask final : public QObject {
public:
    using Progress = std::function<void(int done, int total)>;
    /// Gets the error, or nothing after success. The task may be deleted in it.
    using Finished = std::function<void(platform::Result<void> result)>;

    VideoTask(const std::string& title, const std::string& source,
              const starloom::VideoSettings& settings, const std::string& path, Progress progress,
              Finished finished);

    void cancel() { m_thread.request_stop(); }

private:
    const Progress m_progress;
    const Finished m_finished;
    std::jthread m_thread;
};

} // namespace app
