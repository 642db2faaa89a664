// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The keys of an X display, whichever window has the focus: what is typed in an editor reaches the
// program on the stage.
#pragma once

#include "platform/base/Result.h"
#include "platform/keyboard/KeyStateSource.h"

#include <memory>
#include <string>

namespace platform {

/// Connects to an X display: by default the one that the environment names. The source follows
/// changes of the layout, and reports no keys once the server is gone. Each poll is one round trip
/// to the server. Fails when there is no server, or one without the X keyboard extension.
Result<std::shared_ptr<KeyStateSource>> connectX11KeyStateSource(const std::string& display = {});

} // namespace platform
