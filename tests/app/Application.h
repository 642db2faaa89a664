// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The toolkit's application, for tests that make its widgets in their own process.
#pragma once

#include <QApplication>

#include <cstdlib>

namespace app::tests {

/// Made when it is first asked for, on a display that nobody sees. Outlives everything static.
inline QApplication& application() {
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    static int count = 1;
    static char name[] = "test";
    static char* arguments[] = {name, nullptr};
    static auto* const made = new QApplication(count, arguments);
    return *made;
}

} // namespace app::tests
