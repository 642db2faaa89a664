// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// An X server of the test's own with one window, and a window manager where the test wants one.
#pragma once

#include "tests/Program.h"
#include "tests/SL42/keyboard/XServer.h"
#include "tests/platform/capture/Conformance.h"
#include "tests/platform/capture/x11/TestWindow.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform::tests {

class X11Desktop final : public CaptureDesktop {
public:
    enum class Manager { None, Openbox };

    explicit X11Desktop(Manager manager, const TestWindow::Options& options = {},
                        const std::vector<std::string>& serverArguments = {});
    ~X11Desktop() override;

    WindowCapture& capture() override { return *m_capture; }
    std::optional<std::uint64_t> window() override { return m_window->id(); }
    void show(std::uint32_t counter) override { m_window->show(counter); }
    void resize(std::uint32_t width, std::uint32_t height, std::uint32_t counter) override;
    void close() override { m_window->close(); }

    std::string display() const { return m_server->display(); }
    TestWindow& client() { return *m_window; }
    WindowPicture picture();
    void startManager();
    void stopManager();
    void killServer();

private:
    std::unique_ptr<starloom::XServer> m_server;
    std::unique_ptr<::tests::Program> m_manager;
    std::unique_ptr<TestWindow> m_window;
    std::unique_ptr<WindowCapture> m_capture;
};

/// Captures the window of a desktop.
class X11Stream : public testing::Test {
protected:
    using Kind = CaptureEvent::Kind;
    using Manager = X11Desktop::Manager;

    /// Has seen the first picture.
    X11Desktop& start(Manager manager = Manager::None, const TestWindow::Options& options = {}) {
        m_desktop = std::make_unique<X11Desktop>(manager, options);
        told.start(m_desktop->capture(), m_desktop->window());
        EXPECT_TRUE(told.shows(0));
        return *m_desktop;
    }
    static std::vector<Kind> kinds(Recording& told) {
        std::vector<Kind> kinds;
        for (const CaptureEvent& event : told.events())
            kinds.push_back(event.kind);
        return kinds;
    }

    Recording told; // and those after it outlive the capture
    Recording again;

private:
    std::unique_ptr<X11Desktop> m_desktop;
};

} // namespace platform::tests
