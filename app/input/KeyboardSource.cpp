// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/input/KeyboardSource.h"

#include "app/input/KeyEventFeed.h"
#include "platform/keyboard/X11KeyStateSource.h"

#include <QGuiApplication>

namespace app {

std::shared_ptr<platform::KeyStateSource> makeKeyboardSource(QObject& owner, platform::Log& log) {
    if (QGuiApplication::platformName() == "xcb") {
        auto source = platform::connectX11KeyStateSource();
        if (source)
            return *std::move(source);
        log.line("Only keys typed in our own windows count: " + source.error().message);
    }
    auto source = std::make_shared<platform::FocusKeyStateSource>();
    new KeyEventFeed(&owner, source); // which owns it
    return source;
}

} // namespace app
