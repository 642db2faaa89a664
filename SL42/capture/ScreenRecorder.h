// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Captures the window of the user's editor, so that the console can lay it over its picture: what
// can be captured, what is, and recording it to a file. The interface shows its values.
#pragma once

#include "SL42/capture/CaptureEngine.h"
#include "SL42/capture/CaptureRecording.h"
#include "SL42/capture/WindowPictures.h"
#include "SL42/hardware/YUVTexture.h"
#include "gpu/Device.h"
#include "platform/Log.h"
#include "platform/MainQueueAnchor.h"
#include "platform/Published.h"
#include "platform/Timer.h"
#include "platform/base/Result.h"
#include "platform/capture/WindowCapture.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace starloom {

/// The application's name, ": " and the title; one of them alone when the other is missing.
std::string listName(const platform::CapturableWindow& window);

/// Main thread.
class ScreenRecorder {
public:
    /// Points of the window.
    struct ContentSize {
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        bool operator==(const ContentSize&) const = default;
    };

    /// `makeCapture` is called on a thread of its own; it is empty where there is nothing to make.
    ScreenRecorder(std::shared_ptr<gpu::Device> device, platform::MainQueue& mainQueue,
                   platform::Log& log, MakeCapture makeCapture);
    ~ScreenRecorder();
    ScreenRecorder(const ScreenRecorder&) = delete;
    ScreenRecorder& operator=(const ScreenRecorder&) = delete;

    /// Gets every captured frame; none when there is nothing to show any more.
    std::function<void(std::optional<YUVTexture>)> textureUpdateBlock =
        [](const std::optional<YUVTexture>&) {};

    /// Begins to look, on another thread, for what can capture windows. Until that has answered,
    /// all that needs it fails with a line that says so.
    void prepare();
    /// Waits for that answer, for those who have nothing else to do.
    void waitUntilPrepared();
    /// Whether the desktop has the user pick the window, and lists none. Fails where nothing can be
    /// captured, with the reason for a person.
    platform::Result<bool> desktopPicks();

    /// Captures the selected window, or what the user picks. Fails with "No window selected.", or
    /// where nothing can be captured; what becomes of it later is told by isRunning and state.
    platform::Result<void> start();
    void stop();
    /// Where the desktop has the user pick: starts with the question which window it shall be.
    platform::Result<void> pickAgain();
    /// Selects a window, and goes on with it when one is captured.
    void select(const platform::CapturableWindow& window);
    const platform::Published<bool>& isRunning() const { return m_isRunning; }
    /// What there is to say about the capture, for a person; empty when there is nothing.
    const platform::Published<std::string>& state() const { return m_state; }
    const platform::Published<std::optional<platform::CapturableWindow>>& selectedWindow() const {
        return m_selectedWindow;
    }
    const platform::Published<ContentSize>& contentSize() const { return m_contentSize; }
    /// Of all streams.
    std::uint64_t frameCount() const { return m_frameCount; }

    /// By name; without those of the console itself.
    const platform::Published<std::vector<platform::CapturableWindow>>& availableWindows() const {
        return m_availableWindows;
    }
    platform::Result<void> refreshAvailableContent();
    /// Refreshes the list every second for as long as that is wanted.
    void monitorAvailableContent(bool monitor);
    /// For pictures of the windows in the list; null where there are none.
    std::unique_ptr<WindowPictures> makePictures(WindowPictures::Handler onPicture);

    /// Records what is captured to a new file in the folder, until it is stopped or the capture
    /// ends. Where the desktop picks, a window that stands still is in it from its next change on.
    /// Fails when nothing is captured.
    platform::Result<void> startRecording(const std::filesystem::path& folder);
    void stopRecording();
    const platform::Published<bool>& isRecordingStream() const { return m_isRecordingStream; }
    /// Of the present or last recording.
    const std::filesystem::path& recordingOutputPath() const { return m_recordingOutputPath; }
    /// Opens the folder of the recordings.
    platform::Result<void> openRecordingFolder() const;

private:
    platform::Result<platform::WindowCapture*> capture();
    StreamConfiguration streamConfiguration() const { return {}; }
    ContentFilter contentFilter() const;
    void updateEngine();
    void take(const CapturedFrame& frame);
    void take(const platform::CaptureEvent& event);
    void end(const std::string& reason);
    void recordingEnded(const CaptureRecording* recording, const platform::Result<void>& result);

    std::shared_ptr<gpu::Device> m_device;
    platform::MainQueue& m_mainQueue;
    platform::Log& m_log;
    MakeCapture m_makeCapture;
    std::future<platform::Result<std::unique_ptr<platform::WindowCapture>>> m_making;
    std::unique_ptr<platform::WindowCapture> m_capture; ///< null until it is needed
    std::unique_ptr<CaptureEngine> m_captureEngine;     ///< likewise
    platform::Published<bool> m_isRunning;
    platform::Published<std::string> m_state;
    platform::Published<std::optional<platform::CapturableWindow>> m_selectedWindow;
    platform::Published<ContentSize> m_contentSize;
    platform::Published<std::vector<platform::CapturableWindow>> m_availableWindows;
    std::unique_ptr<platform::Timer> m_monitor;
    std::uint64_t m_frameCount = 0;
    std::filesystem::path m_recordingOutputPath;
    platform::Published<bool> m_isRecordingStream;
    platform::MainQueueAnchor m_anchor;
    /// The present one comes last; those before it complete their files.
    std::vector<std::unique_ptr<CaptureRecording>> m_recordings;
};

} // namespace starloom
