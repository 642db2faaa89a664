// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/input/Keyboard.h"
#include "SL42/input/MouseValues.h"

#include <gtest/gtest.h>

namespace starloom {

TEST(Keyboard, StrokesLastOnePoll) {
    KeyFlags held{};
    Keyboard keyboard;
    EXPECT_FALSE(keyboard.getKeyboardState().state[65]);
    keyboard.setSource([&] { return held; });
    const struct {
        bool held, state, pressed;
    } polls[] = {{true, true, true},
                 {true, true, false},
                 {false, false, false},
                 {true, true, true},
                 {true, true, false}};
    for (const auto& poll : polls) {
        held[65] = poll.held;
        const KeyboardState keys = keyboard.getKeyboardState();
        EXPECT_EQ(keys.state[65], poll.state);
        EXPECT_EQ(keys.pressed[65], poll.pressed);
        EXPECT_FALSE(keys.state[66] || keys.pressed[66]);
    }
}

TEST(MouseValues, ClicksComeFromGoingDown) {
    MouseValues mouse;
    mouse.setLeftButton(true);
    EXPECT_TRUE(mouse.data().leftButton && mouse.data().leftClick);
    mouse.setClicks(false, true);
    mouse.setLeftButton(true); // held
    EXPECT_FALSE(mouse.data().leftClick);
    mouse.setLeftButton(false);
    EXPECT_FALSE(mouse.data().leftClick);
    mouse.setLeftButton(true);
    EXPECT_TRUE(mouse.data().leftClick);
    EXPECT_FALSE(mouse.data().rightButton);
}

} // namespace starloom
