// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A Wayland desktop as a capture sees it: the portal, and a window that it shares.
#pragma once

#include "platform/capture/WindowCapture.h"
#include "tests/platform/capture/portal/PrivateSession.h"
#include "tests/platform/capture/portal/TestPortal.h"
#include "tests/platform/capture/portal/TestStream.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace platform::tests {

/// What the handlers of a capture were told.
class Told {
public:
    struct Picture {
        std::optional<std::uint32_t> counter; ///< none when it is not the test picture
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        double scale = 0;
    };

    void start(WindowCapture& capture, unsigned picturesPerSecond = 60);

    /// Whether a picture comes, or came, with this counter and in this size.
    bool shows(std::uint32_t counter, std::uint32_t width = 640, std::uint32_t height = 400);
    bool hears(CaptureEvent::Kind kind);
    std::vector<Picture> pictures();
    std::vector<CaptureEvent> events();
    /// Of the one event that ended the capture; empty, after a while, when there was none or more.
    std::string ending();
    /// Runs within the handler of pictures.
    std::function<void()> whilePictureIsShown;

private:
    bool comesTo(const std::function<bool()>& condition);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Picture> m_pictures;
    std::vector<CaptureEvent> m_events;
};

/// One for each test. A machine that cannot have it skips the test.
class PortalDesktop {
public:
    static std::unique_ptr<PortalDesktop> create(std::string& whyNot, StreamShape shape = {},
                                                 TestPortal::Behaviour behaviour = {});
    ~PortalDesktop();
    PortalDesktop(const PortalDesktop&) = delete;
    PortalDesktop& operator=(const PortalDesktop&) = delete;

    /// Where the capture keeps its token. Does not exist at first.
    const std::filesystem::path& stateFolder() const { return m_stateFolder; }

    std::unique_ptr<TestStream> stream;
    std::unique_ptr<TestPortal> portal;
    std::unique_ptr<WindowCapture> capture;

private:
    explicit PortalDesktop(std::filesystem::path stateFolder)
        : m_stateFolder(std::move(stateFolder)) {}

    const std::filesystem::path m_stateFolder;
};

} // namespace platform::tests
