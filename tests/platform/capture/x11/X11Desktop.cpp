// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/x11/X11Desktop.h"

#include "platform/capture/x11/X11Capture.h"

#include <csignal>
#include <cstdlib>
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

// The list of windows is the last thing that it does before it serves any, and survives its death.
void X11Desktop::startManager() {
    xcb_connection_t* const x = xcb_connect(display().c_str(), nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(x)).data->root;
    const std::string name = "_NET_CLIENT_LIST";
    auto* const list = xcb_intern_atom_reply(
        x, xcb_intern_atom(x, 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr);
    if (list == nullptr)
        throw std::runtime_error("the X server has no atoms");
    xcb_delete_property(x, root, list->atom);
    xcb_flush(x);
    m_manager = std::make_unique<::tests::Program>(
        std::vector<std::string>{"env", "DISPLAY=" + display(), "openbox", "--sm-disable"},
        ::tests::Streams{{}, "/dev/null", "/dev/null"});
    const bool isThere = waitUntil([&] {
        auto* const reply = xcb_get_property_reply(
            x, xcb_get_property(x, 0, root, list->atom, XCB_ATOM_ANY, 0, 0), nullptr);
        const bool has = reply != nullptr && reply->type != XCB_ATOM_NONE;
        std::free(reply);
        return has;
    });
    std::free(list);
    xcb_disconnect(x);
    if (!isThere)
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
