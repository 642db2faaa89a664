// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/input/Keyboard.h"
#include "SL42/input/MouseValues.h"
#include "platform/keyboard/FocusKeyStateSource.h"
#include "tests/SL42/KeyCodes.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace starloom {
namespace {

using platform::FocusKeyStateSource;
using platform::Key;
using platform::ModifierKey;

class HeldKeys final : public platform::KeyStateSource {
public:
    std::span<const Key> heldKeys() override { return keys; }
    std::vector<Key> keys;
};

Key modifier(ModifierKey key) {
    return {.modifier = key};
}
Key character(char32_t plain, char32_t shifted) {
    return {std::nullopt, plain, shifted};
}

} // namespace

TEST(Keyboard, StrokesLastOnePoll) {
    Keyboard keyboard;
    EXPECT_EQ(codesOf(keyboard.getKeyboardState().state), std::vector<int>{}); // no source yet
    const auto source = std::make_shared<HeldKeys>();
    keyboard.setSource(source);
    const std::pair<bool, bool> polls[] = {
        {true, true}, {true, false}, {false, false}, {true, true}, {true, false}};
    for (const auto& [held, pressed] : polls) {
        source->keys.assign(held ? 1 : 0, character('a', 'A'));
        const KeyboardState keys = keyboard.getKeyboardState();
        EXPECT_EQ(codesOf(keys.state), std::vector<int>(held ? 1 : 0, 97));
        EXPECT_EQ(codesOf(keys.pressed), std::vector<int>(pressed ? 1 : 0, 97));
    }
}

TEST(Keyboard, KeysHaveTheirCodes) {
    const Key shift = modifier(ModifierKey::Shift);
    const std::tuple<const char*, std::vector<Key>, std::vector<int>> cases[] = {
        {"a letter", {character('a', 'A')}, {97}},
        {"a capital", {shift, character('a', 'A')}, {1, 65}},
        {"the order does not matter", {character('a', 'A'), shift}, {1, 65}},
        {"Command hides characters", {modifier(ModifierKey::Command), character('q', 'Q')}, {2}},
        {"so does Control", {character('q', 'Q'), modifier(ModifierKey::Control), shift}, {1, 3}},
        {"so does Option", {modifier(ModifierKey::Option), character('q', 'Q')}, {4}},
        {"arrows and controls",
         {character(28, 28), character(31, 31), character(8, 8), character(127, 127)},
         {8, 28, 31, 127}},
        {"two keys, one character", {character('1', '!'), character('1', '1')}, {49}},
        {"out of range",
         {character(0, 0), character(7, 7), character(128, 128), character(0x1F600, 0)},
         {}},
        {"nothing with Shift", {shift, character('1', 0)}, {1}}};
    for (const auto& [what, keys, expected] : cases) {
        Keyboard keyboard;
        const auto source = std::make_shared<HeldKeys>();
        source->keys = keys;
        keyboard.setSource(source);
        EXPECT_EQ(codesOf(keyboard.getKeyboardState().state), expected) << what;
    }
}

TEST(Keyboard, FollowsTheFocusedWindow) {
    const auto source = std::make_shared<FocusKeyStateSource>();
    Keyboard keyboard;
    keyboard.setSource(source);
    const auto held = [&] { return codesOf(keyboard.getKeyboardState().state); };
    source->press(38, 'a', false);
    source->pressModifier(50, ModifierKey::Shift);
    EXPECT_EQ(held(), (std::vector<int>{1, 65})) << "the held letter changes case";
    source->press(10, '!', true);
    source->release(38);
    source->release(50);
    EXPECT_EQ(held(), (std::vector<int>{33}));
    source->press(10, '1', false);
    source->pressModifier(62, ModifierKey::Shift);
    EXPECT_EQ(held(), (std::vector<int>{1, 33})) << "what the key gave with Shift is remembered";
    source->loseFocus();
    EXPECT_EQ(held(), std::vector<int>{});
    source->release(10); // seen after the focus came back
    source->press(10, '!', true);
    EXPECT_EQ(held(), (std::vector<int>{33})) << "what it gave before the focus went is forgotten";
}

TEST(MouseValues, ClicksComeFromGoingDown) {
    MouseValues mouse;
    const MtlMouseDataStruct& record = mouse.mouseDataStruct();
    mouse.setLeftMouseDown(true);
    EXPECT_TRUE(record.leftMouseDown && record.leftMouseClick);
    mouse.setClicks(false, true);
    mouse.setLeftMouseDown(true); // held
    EXPECT_FALSE(record.leftMouseClick);
    mouse.setLeftMouseDown(false);
    EXPECT_FALSE(record.leftMouseClick);
    mouse.setLeftMouseDown(true);
    EXPECT_TRUE(record.leftMouseClick && mouse.leftMouseDown());
    EXPECT_FALSE(record.rightMouseDown);
}

TEST(MouseValues, PositionsAreNormalizedOverTheContent) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::tuple<double, double, ContentSize, MouseLocation> cases[] = {
        {0, 0, {800, 600}, {0, 0}},
        {800, 600, {800, 600}, {1, 1}},
        {200, 450, {800, 600}, {.25, .75}},
        {-3, 700, {800, 600}, {0, 1}},
        {5, -5, {0, 0}, {1, 0}},
        {nan, 1, {800, 4}, {0, .25}}};
    for (const auto& [x, y, content, expected] : cases) {
        EXPECT_EQ(normalize(x, y, content), expected) << x << ", " << y;
        MouseValues mouse;
        mouse.setMouseLocation(expected);
        const auto location = mouse.mouseDataStruct().location;
        EXPECT_EQ(location[0], expected.x * 960);
        EXPECT_EQ(location[1], expected.y * 540);
    }
}

} // namespace starloom
