// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What belongs to a show: the screen that it is on, the pointer, and a desktop that stays awake.
#include "tests/app/OpenWindow.h"
#include "tests/platform/desktop/TestDesktop.h"

#include <QMenuBar>
#include <QScreen>

namespace app::tests {
namespace {

constexpr const char* text = "void fx() { cls(time); }";

class FullScreens : public OpenWindow {
protected:
    std::string screen() const { return window->screen()->name().toStdString(); }
    /// Of the menu in which the screen is chosen: "*" in front of the one that is.
    std::vector<std::string> choices() const {
        std::vector<std::string> texts;
        for (const QAction* action : screens())
            if (!action->isSeparator())
                texts.push_back((action->isChecked() ? "*" : "") + nameOf(*action));
        return texts;
    }
    QList<QAction*> screens() const {
        for (const QAction* top : window->menuBar()->actions())
            for (const QAction* entry : top->menu()->actions())
                if (QMenu* menu = entry->menu(); menu && menu->title() == "Full Screen O&n") {
                    emit menu->aboutToShow();
                    return menu->actions();
                }
        return {};
    }
    void choose(const QString& name) const {
        for (QAction* action : screens())
            if (action->text().startsWith(name))
                action->trigger();
    }
    bool hasPointer() const { return view().cursor().shape() == Qt::ArrowCursor; }
    void moveMouse() {
        const QPoint place(100 + ++moves, 100);
        QTest::mouseMove(window->windowHandle(), place);
    }
    int moves = 0;
};

} // namespace

TEST_F(FullScreens, AreOnTheChosenScreenAsLongAsItIsThere) {
    open(files.file("a.metal", text));
    const QSize before = window->size();
    EXPECT_EQ(choices(),
              (std::vector<std::string>{"*The Window's Own Screen", "beamer (1280 \u00d7 720)",
                                        "desk (1920 \u00d7 1200)"}));
    choose("beamer");
    EXPECT_EQ(Settings().fullScreenOn.get(), "beamer");
    EXPECT_EQ(screen(), "desk") << "as long as it is no full screen";
    action("Full Screen").trigger();
    EXPECT_EQ(screen(), "beamer");
    EXPECT_EQ(window->geometry(), QRect(1920, 0, 1280, 720));
    choose("desk");
    EXPECT_EQ(screen(), "desk");
    choose("beamer");
    EXPECT_EQ(screen(), "beamer");
    action("Full Screen").trigger();
    EXPECT_EQ(screen(), "desk");
    EXPECT_EQ(window->size(), before);

    Settings().fullScreenOn.set("sold");
    action("Full Screen").trigger();
    EXPECT_EQ(screen(), "desk");
    EXPECT_EQ(choices().back(), "*sold (not there)");
}

TEST_F(FullScreens, HideAPointerThatNobodyMoves) {
    open(files.file("a.metal", text));
    QTest::qWait(2300);
    EXPECT_TRUE(hasPointer()) << "outside of full screen it stays";
    action("Full Screen").trigger();
    EXPECT_TRUE(hasPointer());
    EXPECT_TRUE(eventually([this] { return !hasPointer(); }));
    moveMouse();
    EXPECT_TRUE(hasPointer());
    QTest::qWait(1200);
    moveMouse();
    QTest::qWait(1200);
    EXPECT_TRUE(hasPointer()) << "2 s since it was moved last";
    EXPECT_TRUE(eventually([this] { return !hasPointer(); }));
    action("Full Screen").trigger();
    EXPECT_TRUE(hasPointer());
}

TEST_F(FullScreens, KeepTheDesktopAwakeWhileAProgramPlays) {
    platform::tests::TestDesktop desktop({});
    const auto asked = [&](unsigned calls) {
        return eventually([&] { return desktop.record().portalCalls == calls; });
    };
    const auto released = [&](unsigned calls) {
        return eventually([&] { return desktop.record().closedRequests == calls; });
    };
    open(files.file("a.metal", text));
    QTest::qWait(100);
    EXPECT_TRUE(asked(0));
    action("Full Screen").trigger();
    EXPECT_TRUE(asked(1));
    QTest::qWait(100); // in which the answer arrives
    action("Pause").trigger();
    EXPECT_TRUE(released(1));
    action("Play").trigger();
    EXPECT_TRUE(asked(2));
    QTest::qWait(100);
    action("Full Screen").trigger();
    EXPECT_TRUE(released(2));
    EXPECT_EQ(desktop.record().portalReason, "A program is on stage");
}

} // namespace app::tests
