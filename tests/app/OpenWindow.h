// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console's window in the test's own process, on a display that nobody sees, with a home of its
// own. Other programs that it starts only note how they were called.
#pragma once

#include "SL42/console/SL42.h"
#include "app/window/ConsoleWindow.h"
#include "tests/SL42/keyboard/XServer.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <QMenu>
#include <QTest>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace app::tests {

class OpenWindow : public testing::Test {
protected:
    using Answer = std::function<void(QDialog&)>;

    OpenWindow();

    void open(const DocumentOrigin& origin);
    /// A program's text in a file, as a person opens it.
    void open(const std::string& file) { open(readOrigin(file).value()); }

    static bool eventually(const std::function<bool()>& holds) {
        return QTest::qWaitFor(holds, 20'000);
    }
    /// Answers the dialogs that come up next, one after the other.
    static void answer(std::vector<Answer> answers);
    /// The kind is one of those that the dialog offers; empty for the one that it proposes.
    static Answer choose(const std::string& file, const QString& kind = {});
    /// Presses the button of a dialog or a box that has this text.
    static void press(QWidget& box, const QString& button);

    /// All actions of the menus, without those that open menus.
    std::vector<QAction*> menuActions() const;
    /// As it stands in the menu, without marks for keys and dots.
    static std::string nameOf(const QAction& action);
    QAction& action(const std::string& name) const;

    template <class Widget>
    Widget& widget(const QString& accessibleName) const {
        for (auto* found : window->findChildren<Widget*>())
            if (found->accessibleName() == accessibleName)
                return *found;
        throw std::runtime_error("no " + accessibleName.toStdString());
    }
    QDockWidget& pane(const QString& id) const { return *window->findChild<QDockWidget*>(id); }
    /// Their names in alphabetical order.
    std::string visiblePanes() const;
    /// Of the bar over the picture; empty while there is none.
    std::string notice() const;
    PreviewWidget& view() const { return dynamic_cast<PreviewWidget&>(widget<QWidget>("Picture")); }
    starloom::SL42& engine() const { return dynamic_cast<starloom::SL42&>(*view().delegate()); }
    /// How other programs were called, one a line.
    std::string started() const { return ::tests::contentsOf(files.path("started")); }

    const ::tests::ScratchFolder files;
    const starloom::XServer server; ///< for the windows that are captured
    platform::Supervised supervised;
    DocumentClaim claim;
    std::unique_ptr<ConsoleWindow> window;
};

} // namespace app::tests
