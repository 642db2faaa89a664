// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/x11/WindowList.h"

#include "platform/capture/x11/DesktopScale.h"
#include "platform/capture/x11/XProperties.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace platform::x11 {
namespace {

constexpr std::size_t maximumWindows = 1024;

std::string_view thisMachine(std::span<char> buffer) {
    buffer.back() = 0;
    return ::gethostname(buffer.data(), buffer.size() - 1) == 0 ? buffer.data() : "";
}

/// Name and class of the application, each with a zero behind it.
std::string applicationIn(std::string_view instanceAndClass) {
    const auto end = std::min(instanceAndClass.find('\0'), instanceAndClass.size());
    const std::string_view instance = instanceAndClass.substr(0, end);
    std::string_view name = instanceAndClass.substr(std::min(end + 1, instanceAndClass.size()));
    name = name.substr(0, name.find('\0'));
    return textOf(name.empty() ? instance : name, Encoding::Latin1);
}

/// All that is asked about one window.
class WindowQuestions {
public:
    WindowQuestions(const XDisplay& display, const Atoms& atoms, xcb_window_t window)
        : m_display(display),
          m_window(window),
          m_attributes(xcb_get_window_attributes(display.connection(), window)),
          m_geometry(xcb_get_geometry(display.connection(), window)),
          m_class(display, window, XCB_ATOM_WM_CLASS),
          m_title(display, atoms, window),
          m_process(display, window, atoms[AtomName::WindowProcess]),
          m_machine(display, window, XCB_ATOM_WM_CLIENT_MACHINE),
          m_type(display, window, atoms[AtomName::WindowType]) {}

    /// None for a window of no use.
    std::optional<CapturableWindow> answer(const Atoms& atoms, double scale,
                                           std::string_view thisMachine) const;

private:
    const XDisplay& m_display;
    xcb_window_t m_window;
    xcb_get_window_attributes_cookie_t m_attributes;
    xcb_get_geometry_cookie_t m_geometry;
    PropertyQuestion m_class;
    TitleQuestion m_title;
    PropertyQuestion m_process;
    PropertyQuestion m_machine;
    PropertyQuestion m_type;
};

std::optional<CapturableWindow> WindowQuestions::answer(const Atoms& atoms, double scale,
                                                        std::string_view here) const {
    xcb_connection_t* const x = m_display.connection();
    const Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(x, m_attributes, nullptr));
    const Reply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(x, m_geometry, nullptr));
    const Property applicationClass = m_class.answer();
    CapturableWindow window;
    window.identifier = m_window;
    window.title = m_title.answer();
    const Property process = m_process.answer();
    const Property machine = m_machine.answer();
    const Property type = m_type.answer();
    if (!attributes || !geometry || attributes->override_redirect != 0 ||
        attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT)
        return std::nullopt;
    const bool isFurniture = std::ranges::any_of(type.numbers(), [&](xcb_atom_t atom) {
        return atom == atoms[AtomName::WindowTypeDesktop] ||
               atom == atoms[AtomName::WindowTypeDock];
    });
    if (isFurniture)
        return std::nullopt;
    if (!here.empty() && machine.bytes() == here && !process.numbers().empty())
        window.process = process.numbers()[0];
    if (window.process == ::getpid())
        return std::nullopt;
    window.application = applicationIn(applicationClass.bytes());
    const auto points = [scale](std::uint16_t pixels) {
        return static_cast<std::uint32_t>(std::max(1.0, std::round(pixels / scale)));
    };
    window.width = points(geometry->width);
    window.height = points(geometry->height);
    window.isMinimised = attributes->map_state != XCB_MAP_STATE_VIEWABLE;
    return window;
}

using Windows = std::vector<xcb_window_t>;

Windows windowsIn(const XDisplay& display, xcb_window_t window, xcb_atom_t property) {
    const Property list =
        PropertyQuestion(display, window, property, maximumWindows * sizeof(xcb_window_t)).answer();
    return {list.numbers().begin(), list.numbers().end()};
}

/// What a window manager says survives it. One that is there has a window which names itself.
bool hasWindowManager(const XDisplay& display, const Atoms& atoms) {
    const xcb_atom_t check = atoms[AtomName::SupportingCheck];
    const Windows named = windowsIn(display, display.root(), check);
    return !named.empty() && windowsIn(display, named[0], check) == named;
}

/// The visible windows that lie directly on the desktop, lowest first.
Windows topLevelWindows(const XDisplay& display) {
    xcb_connection_t* const x = display.connection();
    const Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(x, xcb_query_tree(x, display.root()), nullptr));
    if (!tree)
        return {};
    const xcb_window_t* const first = xcb_query_tree_children(tree.get());
    std::vector<std::pair<xcb_window_t, xcb_get_window_attributes_cookie_t>> questions;
    for (const xcb_window_t window : std::span(first, tree->children_len))
        questions.emplace_back(window, xcb_get_window_attributes(x, window));
    Windows visible;
    for (const auto& [window, cookie] : questions) {
        const Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(x, cookie, nullptr));
        if (attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE)
            visible.push_back(window);
    }
    return visible;
}

Windows clientWindows(const XDisplay& display, const Atoms& atoms) {
    if (!hasWindowManager(display, atoms))
        return topLevelWindows(display);
    Windows windows = windowsIn(display, display.root(), atoms[AtomName::ClientListStacking]);
    if (windows.empty())
        windows = windowsIn(display, display.root(), atoms[AtomName::ClientList]);
    return windows;
}

} // namespace

std::vector<CapturableWindow> listWindows(const XDisplay& display) {
    const Atoms atoms(display);
    std::array<char, 256> buffer{};
    const std::string_view here = thisMachine(buffer);
    const double scale = desktopScale(display);
    Windows windows = clientWindows(display, atoms);
    std::ranges::reverse(windows);
    windows.resize(std::min(windows.size(), maximumWindows));
    std::vector<WindowQuestions> questions;
    for (const xcb_window_t window : windows)
        questions.emplace_back(display, atoms, window);
    std::vector<CapturableWindow> list;
    for (const WindowQuestions& asked : questions) {
        if (auto window = asked.answer(atoms, scale, here))
            list.push_back(std::move(*window));
    }
    return list;
}

} // namespace platform::x11
