// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/VideoTask.h"

#include <utility>

namespace app {

static platform::Result<void> makeVideo(const std::string& title, const std::string& source,
                                        const starloom::VideoSettings& settings,
                                        const std::string& path,
                                        const starloom::VideoProgress& progress,
                                        const std::stop_token& stop) {
    const auto device = gpu::Device::systemDefault();
    if (!device)
        return platform::Error{"There is no device for the video"};
    device->setTimeLimit(std::chrono::minutes(1)); // nobody waits for its frames
    starloom::OfflineConsole console(device, title, source);
    if (!console.isComplete())
        return platform::Error{"The program does not compile"};
    return starloom::exportVideo(console, settings, path, progress, stop);
}

VideoTask::VideoTask(const std::string& title, const std::string& source,
                     const starloom::VideoSettings& settings, const std::string& path,
                     Progress progress, Finished finished)
    : m_progress(std::move(progress)), m_finished(std::move(finished)) {
    m_thread = std::jthread([=, this](const std::stop_token& stop) {
        const auto tell = [this](std::uint32_t done, std::uint32_t total) {
            QMetaObject::invokeMethod(
                this, [=, this] { m_progress(static_cast<int>(done), static_cast<int>(total)); });
        };
        auto result = makeVideo(title, source, settings, path, tell, stop);
        QMetaObject::invokeMethod(this, [this, result = std::move(result)] { m_finished(result); });
    });
}

} // namespace app
