// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/x11/X11Desktop.h"

#include "platform/capture/x11/X11Capture.h"
#include "tests/ScratchFolder.h"

#include <filesystem>
#include <stdexcept>

namespace platform::tests {

X11Desktop::X11Desktop(Manager manager, const TestWindow::Options& options,
                       const std::vector<std::string>& serverArguments)
    : m_server(std::make_unique<starloom::XServer>(serverArguments)) {
    if (manager == Manager::Openbox)
        startManager();
    m_window = std::make_unique<TestWindow>(display(), options);
    auto capture = makeX11Capture(display());
    if (!capture)
        throw std::runtime_error(capture.error().message);
    m_capture = *std::move(capture);
}

X11Desktop::~X11Desktop() {
    m_capture.reset();
    m_window.reset();
    m_manager.reset();
}

void X11Desktop::resize(std::uint32_t width, std::uint32_t height, std::uint32_t counter) {
    EXPECT_TRUE(m_window->resize(static_cast<std::uint16_t>(width),
                                 static_cast<std::uint16_t>(height), counter));
}

WindowPicture X11Desktop::picture() {
    auto picture = m_capture->picture(m_window->id());
    EXPECT_TRUE(picture) << picture.error().message;
    return picture ? *std::move(picture) : WindowPicture{};
}

void X11Desktop::startManager() {
    const ::tests::ScratchFolder folder;
    const std::string started = folder.path("started"); // once it serves windows
    m_manager = std::make_unique<::tests::Program>(
        std::vector<std::string>{"env", "DISPLAY=" + display(), "openbox", "--sm-disable",
                                 "--startup", "touch " + started},
        ::tests::Streams{{}, "/dev/null", "/dev/null"});
    if (!waitUntil([&] { return std::filesystem::exists(started); }))
        throw std::runtime_error("the window manager does not start");
}

void X11Desktop::stopManager() {
    m_manager.reset();
}

void X11Desktop::killServer() {
    m_server.reset();
}

// With and without a window manager, which puts windows into frames.
INSTANTIATE_TEST_SUITE_P(X11, CaptureConformance,
                         testing::Values(
                             []() -> std::unique_ptr<CaptureDesktop> {
                                 return std::make_unique<X11Desktop>(X11Desktop::Manager::Openbox);
                             },
                             []() -> std::unique_ptr<CaptureDesktop> {
                                 return std::make_unique<X11Desktop>(
                                     X11Desktop::Manager::None,
                                     TestWindow::Options{.depth = 32, .border = 3});
                             }),
                         [](const auto& info) { return info.index == 0 ? "managed" : "bare"; });

} // namespace platform::tests
