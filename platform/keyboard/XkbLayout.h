// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The keyboard layout that an X server uses, as a table from key codes to what the keys mean.
#pragma once

#include "platform/base/Result.h"
#include "platform/keyboard/KeyStateSource.h"

#include <array>
#include <cstdint>

struct xcb_connection_t;
struct xkb_context;

namespace platform {

/// Indexed by the key code of X. The server uses 8 to 255.
using XkbLayout = std::array<Key, 256>;

/// Asks the server for the map of its core keyboard. `group` is the layout in use, when several are
/// configured. The keypad gives digits whether or not Num Lock is on.
Result<XkbLayout> readXkbLayout(xkb_context& context, xcb_connection_t& connection,
                                std::uint32_t group);

} // namespace platform
