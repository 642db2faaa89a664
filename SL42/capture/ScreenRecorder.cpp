// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/capture/ScreenRecorder.h"

#include "platform/base/Fatal.h"
#include "platform/files/OpenFile.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <utility>

namespace starloom {

static constexpr std::chrono::seconds refreshInterval{1};
/// An X display answers within a few milliseconds. The interface must not wait for much longer.
static constexpr std::chrono::milliseconds longestWait{30};
static constexpr const char* noWindowSelected = "No window selected.";

std::string listName(const platform::CapturableWindow& window) {
    if (window.application.empty() || window.title.empty())
        return window.application + window.title;
    return window.application + ": " + window.title;
}

ScreenRecorder::ScreenRecorder(std::shared_ptr<gpu::Device> device, platform::MainQueue& mainQueue,
                               platform::Log& log, MakeCapture makeCapture)
    : m_device(std::move(device)),
      m_mainQueue(mainQueue),
      m_log(log),
      m_makeCapture(std::move(makeCapture)),
      m_anchor(mainQueue) {}

ScreenRecorder::~ScreenRecorder() {
    stopRecording();
}

void ScreenRecorder::prepare() {
    if (m_makeCapture && !m_capture && !m_making.valid())
        m_making = std::async(std::launch::async, m_makeCapture);
}

void ScreenRecorder::waitUntilPrepared() {
    if (m_making.valid())
        m_making.wait();
}

platform::Result<platform::WindowCapture*> ScreenRecorder::capture() {
    if (!m_capture) {
        prepare();
        if (!m_making.valid())
            return platform::Error{"Windows cannot be captured here"};
        if (m_making.wait_for(longestWait) != std::future_status::ready)
            return platform::Error{"The desktop has not said yet whether windows can be captured"};
        m_capture = SL42_TRY(m_making.get());
        m_captureEngine = std::make_unique<CaptureEngine>(*m_capture, m_mainQueue);
    }
    return m_capture.get();
}

platform::Result<bool> ScreenRecorder::desktopPicks() {
    const auto* source = SL42_TRY(capture());
    return source->desktopPicks();
}

ContentFilter ScreenRecorder::contentFilter() const {
    if (m_capture->desktopPicks())
        return {};
    const auto& selected = m_selectedWindow.get();
    if (!selected)
        platform::fatalError(noWindowSelected);
    return {.window = selected->identifier};
}

platform::Result<void> ScreenRecorder::start() {
    const auto* source = SL42_TRY(capture());
    if (!source->desktopPicks() && !m_selectedWindow.get())
        return platform::Error{noWindowSelected};
    m_state.set({});
    m_captureEngine->start(
        streamConfiguration(), contentFilter(), [this](const CapturedFrame& frame) { take(frame); },
        [this](const platform::CaptureEvent& event) { take(event); });
    m_isRunning.set(true);
    return {};
}

platform::Result<void> ScreenRecorder::pickAgain() {
    auto* source = SL42_TRY(capture());
    stop();
    source->forgetChoice();
    return start();
}

void ScreenRecorder::stop() {
    if (m_isRunning.get())
        end({});
}

void ScreenRecorder::select(const platform::CapturableWindow& window) {
    m_selectedWindow.set(window);
    if (m_isRunning.get())
        updateEngine();
}

void ScreenRecorder::updateEngine() {
    m_captureEngine->update(streamConfiguration(), contentFilter());
}

void ScreenRecorder::take(const CapturedFrame& frame) {
    auto texture = frame.surface->texture(*m_device);
    if (!texture)
        return end(texture.error().message);
    ++m_frameCount;
    const ContentSize size{frame.contentWidth, frame.contentHeight};
    if (m_contentSize.get() != size)
        m_contentSize.set(size);
    textureUpdateBlock(*std::move(texture));
}

void ScreenRecorder::take(const platform::CaptureEvent& event) {
    using Kind = platform::CaptureEvent::Kind;
    if (event.kind == Kind::Stopped)
        return end(event.description);
    m_state.set(event.kind == Kind::Paused ? event.description : std::string());
}

void ScreenRecorder::end(const std::string& reason) {
    stopRecording();
    m_captureEngine->stop();
    m_state.set(reason);
    if (!reason.empty())
        m_log.line("The capture has ended: " + reason);
    textureUpdateBlock(std::nullopt);
    m_isRunning.set(false);
}

platform::Result<void> ScreenRecorder::refreshAvailableContent() {
    auto* source = SL42_TRY(capture());
    auto windows = SL42_TRY(source->windows());
    std::erase_if(windows, [](const auto& window) { return listName(window).empty(); });
    std::ranges::sort(windows, {}, [](const auto& window) {
        return std::pair(listName(window), window.identifier);
    });
    if (m_availableWindows.get() != windows)
        m_availableWindows.set(std::move(windows));
    return {};
}

void ScreenRecorder::monitorAvailableContent(bool monitor) {
    if (!monitor)
        return m_monitor.reset();
    if (m_monitor)
        return;
    m_monitor = std::make_unique<platform::Timer>(
        m_mainQueue, refreshInterval, [this] { return refreshAvailableContent().hasValue(); });
}

std::unique_ptr<WindowPictures> ScreenRecorder::makePictures(WindowPictures::Handler onPicture) {
    if (!m_makeCapture)
        return nullptr;
    return std::make_unique<WindowPictures>(m_makeCapture, m_mainQueue, std::move(onPicture));
}

static std::filesystem::path newFile(const std::filesystem::path& folder) {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm local{};
    ::localtime_r(&now, &local);
    std::array<char, 64> name{};
    std::strftime(name.data(), name.size(), "Capture %Y-%m-%d %H.%M.%S.mp4", &local);
    return folder / name.data();
}

platform::Result<void> ScreenRecorder::startRecording(const std::filesystem::path& folder) {
    if (!m_isRunning.get())
        return platform::Error{"There is nothing to record: no window is captured"};
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        return platform::Error{folder.string() + ": " + error.message()};
    m_recordingOutputPath = newFile(folder);
    auto recording = std::make_unique<CaptureRecording>(m_recordingOutputPath);
    recording->finished =
        m_anchor.handler([this, it = recording.get()](const platform::Result<void>& result) {
            recordingEnded(it, result);
        });
    m_captureEngine->setPictureHandler(
        [it = recording.get()](const platform::CapturedPicture& picture) { it->show(picture); });
    recording->start();
    m_recordings.push_back(std::move(recording));
    m_isRecordingStream.set(true);
    if (!m_capture->desktopPicks()) // which might ask once more
        updateEngine();             // a still window shows its first picture again
    return {};
}

void ScreenRecorder::stopRecording() {
    if (!m_isRecordingStream.get())
        return;
    m_captureEngine->setPictureHandler({});
    m_recordings.back()->end();
    m_isRecordingStream.set(false);
}

// Also when it could not go on by itself.
void ScreenRecorder::recordingEnded(const CaptureRecording* recording,
                                    const platform::Result<void>& result) {
    if (m_recordings.back().get() == recording)
        stopRecording();
    m_log.line(result ? "Recorded " + recording->path().string()
                      : "The recording failed: " + result.error().message);
    std::erase_if(m_recordings, [&](const auto& each) { return each.get() == recording; });
}

platform::Result<void> ScreenRecorder::openRecordingFolder() const {
    return platform::openFile(m_recordingOutputPath.parent_path(), {});
}

} // namespace starloom
