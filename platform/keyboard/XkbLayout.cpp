// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/keyboard/XkbLayout.h"

#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <memory>

namespace platform {
namespace {

struct Release {
    void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
    void operator()(xkb_state* state) const { xkb_state_unref(state); }
};
using Keymap = std::unique_ptr<xkb_keymap, Release>;
using State = std::unique_ptr<xkb_state, Release>;

std::optional<ModifierKey> modifierOf(xkb_keysym_t symbol) {
    switch (symbol) {
    case XKB_KEY_Shift_L:
    case XKB_KEY_Shift_R:
        return ModifierKey::Shift;
    case XKB_KEY_Super_L:
    case XKB_KEY_Super_R:
        return ModifierKey::Command;
    case XKB_KEY_Control_L:
    case XKB_KEY_Control_R:
        return ModifierKey::Control;
    case XKB_KEY_Alt_L:
    case XKB_KEY_Alt_R:
    case XKB_KEY_ISO_Level3_Shift: // the right Alt key, where a layout has a third level
        return ModifierKey::Option;
    default:
        return std::nullopt;
    }
}

char32_t characterOf(xkb_keysym_t symbol) {
    switch (symbol) {
    case XKB_KEY_Left:
    case XKB_KEY_KP_Left:
        return arrowLeft;
    case XKB_KEY_Right:
    case XKB_KEY_KP_Right:
        return arrowRight;
    case XKB_KEY_Up:
    case XKB_KEY_KP_Up:
        return arrowUp;
    case XKB_KEY_Down:
    case XKB_KEY_KP_Down:
        return arrowDown;
    case XKB_KEY_ISO_Left_Tab: // Tab together with Shift
        return U'\t';
    default:
        return xkb_keysym_to_utf32(symbol);
    }
}

xkb_mod_mask_t maskOf(xkb_keymap& keymap, const char* modifier) {
    const xkb_mod_index_t index = xkb_keymap_mod_get_index(&keymap, modifier);
    return index == XKB_MOD_INVALID ? 0 : xkb_mod_mask_t{1} << index;
}

/// The state of a keyboard on which nothing is held but perhaps Shift.
State makeState(xkb_keymap& keymap, bool shift, std::uint32_t group) {
    State state(xkb_state_new(&keymap));
    if (state)
        xkb_state_update_mask(state.get(), shift ? maskOf(keymap, XKB_MOD_NAME_SHIFT) : 0, 0,
                              maskOf(keymap, XKB_MOD_NAME_NUM), 0, 0, group);
    return state;
}

} // namespace

Result<XkbLayout> readXkbLayout(xkb_context& context, xcb_connection_t& connection,
                                std::uint32_t group) {
    const std::int32_t keyboard = xkb_x11_get_core_keyboard_device_id(&connection);
    if (keyboard < 0)
        return Error{"the X server has no keyboard"};
    const Keymap keymap(xkb_x11_keymap_new_from_device(&context, &connection, keyboard,
                                                       XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap)
        return Error{"the keyboard layout of the X server cannot be read"};
    const State plain = makeState(*keymap, false, group);
    const State shifted = makeState(*keymap, true, group);
    if (!plain || !shifted)
        return Error{"the keyboard layout of the X server cannot be used"};
    XkbLayout layout;
    for (xkb_keycode_t code = 8; code < layout.size(); ++code) {
        const xkb_keysym_t symbol = xkb_state_key_get_one_sym(plain.get(), code);
        layout[code] = {.modifier = modifierOf(symbol),
                        .character = characterOf(symbol),
                        .shiftedCharacter =
                            characterOf(xkb_state_key_get_one_sym(shifted.get(), code))};
    }
    return layout;
}

} // namespace platform
