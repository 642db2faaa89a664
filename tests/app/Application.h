// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The toolkit's application, for tests that make its widgets in their own process.
#pragma once

#include <QApplication>

#include <cstdlib>
#include <string>

namespace app::tests {

/// Made when it is first asked for, on two screens that nobody sees. Outlives everything static.
inline QApplication& application() {
    const std::string screens =
        std::string(::getenv("SL42_SOURCE_DIR")) + "/tests/app/screens.json";
    ::setenv("QT_QPA_PLATFORM", ("offscreen:configfile=" + screens).c_str(), 1);
    static int count = 1;
    static char name[] = "test";
    static char* arguments[] = {name, nullptr};
    static auto* const made = new QApplication(count, arguments);
    return *made;
}

} // namespace app::tests
