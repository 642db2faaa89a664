// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From the keys of an X server to the codes that programs see. xdotool presses the keys, setxkbmap
// changes the layout.
#include "platform/keyboard/X11KeyStateSource.h"
#include "tests/SL42/KeyCodes.h"
#include "tests/SL42/keyboard/XServer.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>
// This header has fields named with a keyword of C++.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wkeyword-macro"
#define explicit explicitModifiers
#include <xcb/xkb.h>
#undef explicit
#pragma GCC diagnostic pop

#include <cstdlib>
#include <memory>

namespace starloom {
namespace {

using Codes = std::vector<int>;

class X11KeyboardTest : public testing::Test {
protected:
    X11KeyboardTest() {
        auto source = platform::connectX11KeyStateSource(server.display());
        if (!source)
            throw std::runtime_error(source.error().message);
        keyboard.setSource(*source);
    }

    void run(std::vector<std::string> command, const std::vector<std::string>& more) {
        command.insert(command.end(), more.begin(), more.end());
        ASSERT_EQ(server.run(command), 0) << command[0];
    }
    void xdotool(const std::string& action, const std::vector<std::string>& keys) {
        run({"xdotool", action}, keys);
    }
    void layout(const std::string& name) { run({"setxkbmap"}, {name}); }
    Codes held() { return codesOf(keyboard.getKeyboardState().state); }
    /// What is held while xdotool holds `keys`, each a number of the keyboard or a key symbol.
    Codes heldWhile(const std::vector<std::string>& keys) {
        xdotool("keydown", keys);
        Codes codes = held();
        xdotool("keyup", keys);
        EXPECT_EQ(held(), Codes{});
        return codes;
    }

    XServer server;
    Keyboard keyboard;
};

/// What a key that switches layouts does. (xdotool undoes the effect of such a key.)
void switchToLayout(const XServer& server, std::uint8_t number) {
    xcb_connection_t* const connection = xcb_connect(server.display().c_str(), nullptr);
    xcb_xkb_use_extension(connection, 1, 0);
    xcb_xkb_latch_lock_state(connection, XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1, number, 0, 0, 0);
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection),
                                        nullptr)); // now it is done
    xcb_disconnect(connection);
}

// Key numbers of a PC keyboard, which stay the same whatever the layout.
constexpr const char* keyA = "38";
constexpr const char* keyLeftOfX = "52"; // z where y is above a, y where it is the other way round
constexpr const char* keyOne = "10";

} // namespace

TEST_F(X11KeyboardTest, KeysHaveTheirCodes) {
    layout("us");
    const std::pair<std::vector<std::string>, Codes> cases[] = {
        {{keyA}, {97}},
        {{"Shift_L", keyA}, {1, 65}},
        {{"Shift_R", keyOne}, {1, 33}},
        {{"Super_L", "q"}, {2}},
        {{"Control_R", "q"}, {3}},
        {{"Alt_L", "q"}, {4}},
        {{"Left", "Up"}, {28, 30}},
        {{"Right", "Down"}, {29, 31}},
        {{"Return"}, {13}},
        {{"KP_Enter"}, {13}},
        {{"BackSpace"}, {8}},
        {{"Tab"}, {9}},
        {{"Shift_L", "Tab"}, {1, 9}},
        {{"Escape"}, {27}},
        {{"space"}, {32}},
        {{"Delete"}, {127}},
        {{"83"}, {52}}, // the 4 of the keypad, without Num Lock
        {{"F5"}, {}}};
    for (const auto& [keys, expected] : cases)
        EXPECT_EQ(heldWhile(keys), expected) << keys.back();
}

TEST_F(X11KeyboardTest, FollowsTheLayout) {
    layout("us");
    EXPECT_EQ(heldWhile({keyLeftOfX}), Codes{'z'});
    layout("de");
    EXPECT_EQ(heldWhile({keyLeftOfX}), Codes{'y'});
    EXPECT_EQ(heldWhile({"Shift_L", "11"}), (Codes{1, '"'}));
    EXPECT_EQ(heldWhile({"49"}), Codes{}) << "a dead key";
    EXPECT_EQ(heldWhile({"108", "16"}), Codes{4}) << "the right Alt key";
    EXPECT_EQ(heldWhile({"47"}), Codes{}) << "a letter beyond ASCII";
    layout("us,de");
    xdotool("keydown", {keyLeftOfX});
    EXPECT_EQ(held(), Codes{'z'});
    switchToLayout(server, 1);
    EXPECT_EQ(held(), Codes{'y'}) << "held all the time";
    switchToLayout(server, 0);
    EXPECT_EQ(held(), Codes{'z'});
}

TEST(X11Keyboard, SurvivesTheLossOfTheServer) {
    auto server = std::make_unique<XServer>();
    const std::string display = server->display();
    auto source = platform::connectX11KeyStateSource(display);
    ASSERT_TRUE(source);
    ASSERT_EQ(server->run({"xdotool", "keydown", "a"}), 0);
    EXPECT_EQ((*source)->heldKeys().size(), 1U);
    server.reset();
    EXPECT_TRUE((*source)->heldKeys().empty());
    EXPECT_TRUE((*source)->heldKeys().empty());
    const auto none = platform::connectX11KeyStateSource(display);
    ASSERT_FALSE(none);
    EXPECT_EQ(none.error().message, "the X server cannot be reached");
}

} // namespace starloom
