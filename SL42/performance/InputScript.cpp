// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/performance/InputScript.h"

#include "SL42/hardware/Screen.h"
#include "SL42/input/Keyboard.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace starloom {
namespace {

using nlohmann::json;
using platform::Error;
using platform::Key;
using platform::ModifierKey;
using platform::Result;

struct NamedKey {
    std::string_view name;
    Key key;
};

constexpr Key modifier(ModifierKey key) {
    return {.modifier = key};
}

constexpr Key character(char32_t code) {
    return {.modifier = {}, .character = code, .shiftedCharacter = code};
}

// The names that programs have for them.
constexpr std::array namedKeys{
    NamedKey{"Shift", modifier(ModifierKey::Shift)},
    NamedKey{"Command", modifier(ModifierKey::Command)},
    NamedKey{"Control", modifier(ModifierKey::Control)},
    NamedKey{"Option", modifier(ModifierKey::Option)},
    NamedKey{"Delete", character(8)},
    NamedKey{"Tab", character(9)},
    NamedKey{"Return", character(13)},
    NamedKey{"Enter", character(13)},
    NamedKey{"Escape", character(27)},
    NamedKey{"Left", character(platform::arrowLeft)},
    NamedKey{"Right", character(platform::arrowRight)},
    NamedKey{"Up", character(platform::arrowUp)},
    NamedKey{"Down", character(platform::arrowDown)},
    NamedKey{"Space", character(' ')},
};

Result<Key> keyNamed(const json& value) {
    if (!value.is_string())
        return Error{"a key is a name in quotation marks"};
    const auto& name = value.get_ref<const std::string&>();
    const auto* const named = std::ranges::find(namedKeys, name, &NamedKey::name);
    if (named != namedKeys.end())
        return named->key;
    if (name.size() != 1 || name[0] < ' ' || name[0] > '~')
        return Error{"there is no key " + value.dump()};
    Key key = character(static_cast<char32_t>(name[0]));
    if (name[0] >= 'a' && name[0] <= 'z')
        key.shiftedCharacter = key.character - 'a' + 'A';
    return key;
}

Result<std::vector<Key>> keysNamed(const json& value) {
    std::vector<Key> keys;
    if (!value.is_array()) {
        keys.push_back(SL42_TRY(keyNamed(value)));
        return keys;
    }
    for (const json& name : value)
        keys.push_back(SL42_TRY(keyNamed(name)));
    return keys;
}

Result<MouseLocation> placeOf(const json& value) {
    if (!value.is_array() || value.size() != 2 || !value[0].is_number() || !value[1].is_number())
        return Error{"the mouse is at [x, y], in pixels of the screen"};
    return normalize(value[0].get<double>(), value[1].get<double>(), {screenWidth, screenHeight});
}

Result<bool> flagOf(const std::string& name, const json& value) {
    if (!value.is_boolean())
        return Error{'"' + name + "\" is true or false"};
    return value.get<bool>();
}

Result<void> readField(const std::string& name, const json& value, InputEvent& event) {
    if (name == "frame") {
        if (!value.is_number_unsigned())
            return Error{"\"frame\" is a whole number, 0 for the first frame"};
        event.frame = value.get<std::uint64_t>();
    } else if (name == "second") {
        if (!value.is_number() || !(value.get<double>() >= 0))
            return Error{"\"second\" is a number from 0 on"};
        event.second = value.get<double>();
    } else if (name == "press") {
        event.press = SL42_TRY(keysNamed(value));
    } else if (name == "release") {
        event.release = SL42_TRY(keysNamed(value));
    } else if (name == "mouse") {
        event.mouse = SL42_TRY(placeOf(value));
    } else if (name == "left") {
        event.left = SL42_TRY(flagOf(name, value));
    } else if (name == "right") {
        event.right = SL42_TRY(flagOf(name, value));
    } else {
        return Error{"there is no field \"" + name + '"'};
    }
    return {};
}

Result<InputEvent> parseLine(std::string_view line) {
    const json object = json::parse(line, nullptr, false);
    if (object.is_discarded() || !object.is_object())
        return Error{"this is no object of JSON"};
    if (object.contains("frame") == object.contains("second"))
        return Error{"an event has either a \"frame\" or a \"second\""};
    if (object.size() == 1)
        return Error{"nothing happens here"};
    InputEvent event;
    for (const auto& [name, value] : object.items())
        SL42_TRY_VOID(readField(name, value, event));
    return event;
}

} // namespace

Result<std::vector<InputEvent>> parseInputScript(std::string_view text) {
    std::vector<InputEvent> events;
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (line.find_first_not_of(" \t\r") == line.npos)
            continue;
        auto event = parseLine(line);
        if (!event)
            return Error{std::to_string(number) + ": " + event.error().message};
        events.push_back(*std::move(event));
    }
    return events;
}

/// What the script holds down.
class ScriptedInput::Keys final : public platform::KeyStateSource {
public:
    std::span<const Key> heldKeys() override { return m_held; }
    void press(const Key& key) {
        if (std::ranges::find(m_held, key) == m_held.end())
            m_held.push_back(key);
    }
    void release(const Key& key) { std::erase(m_held, key); }

private:
    std::vector<Key> m_held;
};

ScriptedInput::ScriptedInput(std::vector<InputEvent> events)
    : m_events(std::move(events)), m_keys(std::make_shared<Keys>()) {}

std::shared_ptr<platform::KeyStateSource> ScriptedInput::keys() const {
    return m_keys;
}

std::optional<MouseValues> ScriptedInput::advance(std::uint64_t frame, double second,
                                                  const MouseValues& mouse) {
    std::optional<MouseValues> changed;
    const auto isPlayed = [&](const InputEvent& event) {
        if (event.frame ? *event.frame > frame : event.second > second)
            return false;
        std::ranges::for_each(event.release, [&](const Key& key) { m_keys->release(key); });
        std::ranges::for_each(event.press, [&](const Key& key) { m_keys->press(key); });
        if (!event.mouse && !event.left && !event.right)
            return true;
        if (!changed)
            changed = mouse;
        if (event.mouse)
            changed->setMouseLocation(*event.mouse);
        if (event.left)
            changed->setLeftMouseDown(*event.left);
        if (event.right)
            changed->setRightMouseDown(*event.right);
        return true;
    };
    std::erase_if(m_events, isPlayed);
    return changed;
}

} // namespace starloom
