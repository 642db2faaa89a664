// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What X windows say of themselves, and what of it is believed.
#include "platform/TextFile.h"
#include "platform/capture/x11/DesktopScale.h"
#include "platform/capture/x11/XText.h"
#include "tests/platform/capture/Recording.h"
#include "tests/platform/capture/x11/X11Desktop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>
#include <string_view>

namespace platform::tests {
namespace {

using namespace std::string_literals;
using Manager = X11Desktop::Manager;

std::string thisMachine() {
    std::array<char, 256> name{};
    ::gethostname(name.data(), name.size() - 1);
    return name.data();
}

/// Another program's, of which the text properties are as given.
std::unique_ptr<TestWindow> windowNamed(const X11Desktop& desktop, const std::string& title,
                                        const std::string& instanceAndClass,
                                        const TestWindow::Options& options = {.width = 300,
                                                                              .height = 200}) {
    return std::make_unique<TestWindow>(desktop.display(), options, [&](TestWindow& window) {
        window.setText("WM_NAME", "STRING", title);
        window.setText("WM_CLASS", "STRING", instanceAndClass);
    });
}

const CapturableWindow* find(const std::vector<CapturableWindow>& list, const TestWindow& window) {
    const auto found = std::ranges::find(list, window.id(), &CapturableWindow::identifier);
    return found == list.end() ? nullptr : &*found;
}

} // namespace

TEST(X11WindowList, NamesWhatApplicationsShow) {
    X11Desktop desktop(Manager::Openbox);
    const auto editor = windowNamed(desktop, "Old", "editor\0Editor\0"s);
    editor->setText("_NET_WM_NAME", "UTF8_STRING", "Grüße – 試し");
    editor->setText("WM_CLIENT_MACHINE", "STRING", thisMachine());
    editor->setNumbers("_NET_WM_PID", "CARDINAL", {1});
    const auto remote = windowNamed(desktop, "caf\xe9", "tool\0\0"s); // Latin-1
    remote->setText("WM_CLIENT_MACHINE", "STRING", thisMachine() + ".elsewhere");
    remote->setNumbers("_NET_WM_PID", "CARDINAL", {1});
    const auto tip = windowNamed(desktop, "Tip", "tip", {.isOverridden = true});
    const auto dock = windowNamed(desktop, "Dock", "dock");
    dock->setNumbers("_NET_WM_WINDOW_TYPE", "ATOM", {dock->atom("_NET_WM_WINDOW_TYPE_DOCK")});
    const auto own = windowNamed(desktop, "Own", "own");
    own->setText("WM_CLIENT_MACHINE", "STRING", thisMachine());
    own->setNumbers("_NET_WM_PID", "CARDINAL", {static_cast<std::uint32_t>(::getpid())});
    ASSERT_TRUE(desktop.client().minimise());
    editor->configure(XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_ABOVE});

    const CapturableWindow expected[] = {
        {editor->id(), "Editor", "Grüße – 試し", 1, 300, 200, false},
        {remote->id(), "tool", "café", 0, 300, 200, false},
        {desktop.client().id(), "", "", 0, 640, 400, true}};
    std::vector<CapturableWindow> list;
    EXPECT_TRUE(waitUntil([&] { // until the window manager has heard of it all
        list = *desktop.capture().windows();
        return std::ranges::equal(list, expected);
    })) << testing::PrintToString(list.size());
}

TEST(X11WindowList, ListsWhatIsOnTheDesktopWithoutWindowManager) {
    X11Desktop desktop(Manager::None);
    const auto upper = windowNamed(desktop, "Upper", "upper\0Upper\0"s);
    const auto hidden = windowNamed(desktop, "Hidden", "hidden\0"s);
    xcb_unmap_window(hidden->connection(), hidden->id());
    hidden->settle();
    const auto tip = windowNamed(desktop, "Tip", "tip", {.isOverridden = true});
    const auto list = *desktop.capture().windows();
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0], (CapturableWindow{upper->id(), "Upper", "Upper", 0, 300, 200, false}));
    EXPECT_EQ(list[1].identifier, desktop.window());
    // What a window manager said before it died is not believed.
    Recording told;
    desktop.startManager();
    ASSERT_TRUE(waitUntil([&] { return desktop.capture().windows()->size() == 2; }));
    desktop.stopManager();
    const auto late = windowNamed(desktop, "Late", "late\0Late\0"s);
    EXPECT_TRUE(waitUntil([&] { return find(*desktop.capture().windows(), *late) != nullptr; }));
}

TEST(X11WindowList, SurvivesWhatWindowsSay) {
    X11Desktop desktop(Manager::None);
    TestWindow& window = desktop.client();
    const std::string hostile[] = {std::string(100000, 'x'),   "\xff\xfe\xc0\x80\xed\xa0\x80"s,
                                   "a\0b\nc\x1b[31m\x7f"s,     std::string(511, 'a') + "é"s,
                                   std::string(1 << 17, '\0'), "\xf0\x9f\x98"s};
    for (const std::string& bytes : hostile) {
        for (const char* property : {"_NET_WM_NAME", "WM_NAME", "WM_CLASS", "WM_CLIENT_MACHINE"}) {
            for (const char* type : {"UTF8_STRING", "STRING", "ATOM"})
                window.setText(property, type, bytes);
            window.setText("_NET_WM_PID", "CARDINAL", bytes); // bytes in place of a number
            const auto list = *desktop.capture().windows();
            ASSERT_EQ(list.size(), 1U);
            for (const std::string& text : {list[0].title, list[0].application}) {
                EXPECT_TRUE(isValidUtf8(text));
                EXPECT_LE(text.size(), x11::maximumTextLength);
            }
        }
    }
    window.setNumbers("_NET_WM_NAME", "UTF8_STRING", {1, 2, 3});
    window.setNumbers("_NET_WM_PID", "CARDINAL", {});
    EXPECT_EQ(desktop.capture().windows()->at(0).title, textOf(hostile[5], x11::Encoding::Latin1));
    // A list that names windows that are gone, or the same one often.
    window.setNumbers("_NET_SUPPORTING_WM_CHECK", "WINDOW", {window.id()});
    const std::vector<std::uint32_t> named{0, 0x7654321, window.root(), window.id()};
    for (const auto& [property, value] :
         {std::pair("_NET_SUPPORTING_WM_CHECK", std::vector<std::uint32_t>{window.id()}),
          {"_NET_CLIENT_LIST", named}})
        xcb_change_property(window.connection(), XCB_PROP_MODE_REPLACE, window.root(),
                            window.atom(property), XCB_ATOM_WINDOW, 32,
                            static_cast<std::uint32_t>(value.size()), value.data());
    window.settle();
    EXPECT_NE(find(*desktop.capture().windows(), window), nullptr);
}

TEST(X11WindowList, CountsInPoints) {
    const std::pair<std::string_view, double> cases[] = {
        {"", 1},
        {"Xft.dpi:\t96", 1},
        {"*foo: 1\nXft.dpi:\t144\nXft.rgba:\tnone\n", 1.5},
        {"Xft.dpi: 192.2", 2},
        {"Xft.dpi:\t120\n", 1.25},
        {"Xft.dpi:\t0", 1},
        {"Xft.dpi:\t-96", 1},
        {"Xft.dpi:\tnan", 1},
        {"Xft.dpi:\t1e30", 1},
        {"Xft.dpi:", 1},
        {"Xft.dpi:\t", 1},
        {"NotXft.dpi:\t192", 1},
    };
    for (const auto& [resources, scale] : cases)
        EXPECT_EQ(x11::scaleInResources(resources), scale) << resources;
    X11Desktop desktop(Manager::None);
    TestWindow& window = desktop.client();
    const std::string resources = "Xft.dpi:\t192\n";
    xcb_change_property(window.connection(), XCB_PROP_MODE_REPLACE, window.root(),
                        XCB_ATOM_RESOURCE_MANAGER, XCB_ATOM_STRING, 8,
                        static_cast<std::uint32_t>(resources.size()), resources.c_str());
    window.settle();
    const auto list = *desktop.capture().windows();
    EXPECT_EQ(std::pair(list.at(0).width, list.at(0).height), std::pair(320U, 200U));
    std::atomic<double> scale = 0;
    desktop.capture().start(
        desktop.window(), 60,
        [&](const CapturedPicture& picture) {
            EXPECT_EQ(picture.width, 640U);
            scale = picture.scale;
        },
        [](const CaptureEvent&) {});
    EXPECT_TRUE(waitUntil([&] { return scale == 2; }));
    desktop.capture().stop();
}

} // namespace platform::tests
