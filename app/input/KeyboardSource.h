// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where the window's console takes its keys from.
#pragma once

#include "platform/Log.h"
#include "platform/keyboard/KeyStateSource.h"

#include <QObject>

#include <memory>

namespace app {

/// On an X display, all keys that are held, whichever window has the focus. On other displays, or
/// when X does not tell (which the log then says), the keys that our windows see. An event filter
/// that `owner` owns feeds those. The application must exist.
std::shared_ptr<platform::KeyStateSource> makeKeyboardSource(QObject& owner, platform::Log& log);

} // namespace app
