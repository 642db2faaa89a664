// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Scripts of input: what they say, and what is said about wrong ones.
#include "SL42/performance/InputScript.h"

#include "tests/SL42/KeyCodes.h"

#include <gtest/gtest.h>

namespace starloom {
namespace {

/// A keyboard and a mouse that a script plays.
class Player {
public:
    explicit Player(std::string_view text) : m_input(parseInputScript(text).value()) {
        m_keyboard.setSource(m_input.keys());
    }

    /// The codes of the keys that are held in that frame, of which there are ten a second.
    std::vector<int> frame(std::uint64_t number) {
        if (const auto changed = m_input.advance(number, static_cast<double>(number) / 10, mouse))
            mouse = *changed;
        return codesOf(m_keyboard.getKeyboardState().state);
    }

    MouseValues mouse;

private:
    ScriptedInput m_input;
    Keyboard m_keyboard;
};

using Codes = std::vector<int>;

TEST(InputScript, HoldsKeysAsAKeyboardDoes) {
    Player player("{\"second\": 0.25, \"release\": \"a\", \"press\": \"Left\"}\n"
                  "\n"
                  "{\"frame\": 1, \"press\": [\"Shift\", \"a\", \"1\"]}\r\n"
                  "{\"frame\": 5, \"release\": \"Left\", \"press\": \"Command\"}");
    EXPECT_EQ(player.frame(0), Codes{});
    EXPECT_EQ(player.frame(1), (Codes{1, '1', 'A'}));
    EXPECT_EQ(player.frame(2), (Codes{1, '1', 'A'})) << "0.2 s";
    EXPECT_EQ(player.frame(3), (Codes{1, 28, '1'})) << "0.3 s";
    EXPECT_EQ(player.frame(7), (Codes{1, 2})) << "no characters while Command is held";
}

TEST(InputScript, MovesAndClicksAsAWindowDoes) {
    Player player("{\"frame\": 1, \"mouse\": [240, 135], \"left\": true}\n"
                  "{\"frame\": 2, \"left\": false, \"right\": true, \"mouse\": [5000, -3]}\n");
    player.frame(0);
    EXPECT_FALSE(player.mouse.leftMouseDown());
    player.frame(1);
    EXPECT_EQ(player.mouse.mouseDataStruct().location, (std::array<float, 2>{240, 135}));
    EXPECT_TRUE(player.mouse.mouseDataStruct().leftMouseClick);
    player.mouse.setClicks(false, true); // the machine has seen it
    player.frame(2);
    EXPECT_EQ(player.mouse.mouseDataStruct().location, (std::array<float, 2>{960, 0}));
    EXPECT_FALSE(player.mouse.leftMouseDown() || player.mouse.mouseDataStruct().leftMouseClick);
    EXPECT_TRUE(player.mouse.rightMouseDown());
}

TEST(InputScript, NamesTheLineAndTheReason) {
    const std::pair<const char*, const char*> cases[] = {
        {"\n{\"frame\": 1", "2: this is no object of JSON"},
        {"[1]", "1: this is no object of JSON"},
        {"{\"press\": \"a\"}", "1: an event has either a \"frame\" or a \"second\""},
        {"{\"frame\": 1, \"second\": 1, \"press\": \"a\"}",
         "1: an event has either a \"frame\" or a \"second\""},
        {"{\"frame\": 1}", "1: nothing happens here"},
        {"{\"frame\": -1, \"press\": \"a\"}",
         "1: \"frame\" is a whole number, 0 for the first frame"},
        {"{\"second\": \"x\", \"press\": \"a\"}", "1: \"second\" is a number from 0 on"},
        {"{\"frame\": 1, \"press\": \"a\"}\n{\"frame\": 1, \"press\": \"Hyper\"}",
         "2: there is no key \"Hyper\""},
        {"{\"frame\": 1, \"press\": [\"a\", 7]}", "1: a key is a name in quotation marks"},
        {"{\"frame\": 1, \"press\": \"\xc3\xa4\"}", "1: there is no key \"\xc3\xa4\""},
        {"{\"frame\": 1, \"mouse\": [1]}", "1: the mouse is at [x, y], in pixels of the screen"},
        {"{\"frame\": 1, \"left\": 1}", "1: \"left\" is true or false"},
        {"{\"frame\": 1, \"jump\": true}", "1: there is no field \"jump\""},
        {"{\"frame\": 1, \"press\": \"\xff\"}", "1: this is no object of JSON"},
    };
    for (const auto& [text, message] : cases) {
        const auto events = parseInputScript(text);
        ASSERT_FALSE(events) << text;
        EXPECT_EQ(events.error().message, message) << text;
    }
    const std::string deep(1'000'000, '[');
    EXPECT_FALSE(parseInputScript(deep));
}

} // namespace
} // namespace starloom
