// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/x11/X11Capture.h"

#include "platform/capture/x11/BlockedSigpipe.h"
#include "platform/capture/x11/CaptureThread.h"
#include "platform/capture/x11/CapturedWindow.h"
#include "platform/capture/x11/WindowList.h"
#include "platform/capture/x11/XDisplay.h"

#include <optional>
#include <thread>
#include <utility>

namespace platform {
namespace {

class X11Capture final : public WindowCapture {
public:
    explicit X11Capture(std::string display) : m_display(std::move(display)) {}

    bool desktopPicks() const override { return false; }
    Result<std::vector<CapturableWindow>> windows() override;
    Result<WindowPicture> picture(std::uint64_t window) override;
    void start(std::optional<std::uint64_t> window, unsigned picturesPerSecond,
               PictureHandler onPicture, EventHandler onEvent) override;
    void stop() override { m_thread.reset(); }

private:
    std::string m_display;
    std::optional<x11::CaptureThread> m_thread;
};

Result<std::vector<CapturableWindow>> X11Capture::windows() {
    const x11::BlockedSigpipe blocked;
    const auto display = SL42_TRY(x11::XDisplay::connect(m_display));
    auto list = x11::listWindows(display);
    if (display.isLost())
        return Error{"the X server has ended the connection"};
    return list;
}

Result<WindowPicture> X11Capture::picture(std::uint64_t window) {
    const x11::BlockedSigpipe blocked;
    const auto display = SL42_TRY(x11::XDisplay::connect(m_display));
    const auto captured = SL42_TRY(x11::CapturedWindow::create(display, window));
    SL42_TRY_VOID(captured->namePixmap());
    if (captured->wasCovered())
        std::this_thread::sleep_for(x11::coveredRepaintTime);
    SL42_TRY(captured->read());
    const x11::WindowImage& image = captured->image();
    return WindowPicture{
        {image.pixels().begin(), image.pixels().end()}, image.width(), image.height()};
}

// A window that is none is told of by the thread, too, so that every start leads to an event.
void X11Capture::start(std::optional<std::uint64_t> window, unsigned picturesPerSecond,
                       PictureHandler onPicture, EventHandler onEvent) {
    m_thread.reset();
    m_thread.emplace(m_display, window.value_or(0), picturesPerSecond,
                     x11::StreamHandlers{std::move(onPicture), std::move(onEvent)});
}

} // namespace

Result<std::unique_ptr<WindowCapture>> makeX11Capture(const std::string& display) {
    const x11::BlockedSigpipe blocked;
    SL42_TRY(x11::XDisplay::connect(display));
    return std::unique_ptr<WindowCapture>(std::make_unique<X11Capture>(display));
}

} // namespace platform
