// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The mouse and the keys as the toolkit reports them, on its display that nobody sees.
#include "SL42/input/Keyboard.h"
#include "app/input/KeyEventFeed.h"
#include "app/input/KeyboardAndMouseTrackingNSView.h"
#include "app/input/KeyboardSource.h"
#include "tests/SL42/KeyCodes.h"
#include "tests/app/Application.h"

#include <gtest/gtest.h>

#include <QTest>

#include <vector>

namespace app {
namespace {

using starloom::MouseLocation;

class InputTest : public testing::Test {
protected:
    static void SetUpTestSuite() { tests::application(); }

    /// A window of 400 x 200 whose lower half the view covers.
    InputTest() {
        window.resize(400, 200);
        view->setParent(&window);
        view->setGeometry(0, 100, 400, 100);
        view->setFocus();
        window.show();
        window.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
    }

    MouseLocation location;
    std::vector<bool> left;
    std::vector<bool> right;
    QWidget window;
    KeyboardAndMouseTrackingNSView* view = new KeyboardAndMouseTrackingNSView(
        [this](MouseLocation to) { location = to; }, [this](bool down) { left.push_back(down); },
        [this](bool down) { right.push_back(down); });
};

} // namespace

TEST_F(InputTest, TheViewReportsTheMouseOverTheWholeWindow) {
    QWindow* const whole = window.windowHandle();
    // Where to, the button held meanwhile, and what is reported.
    const std::tuple<QPoint, Qt::MouseButton, MouseLocation> moves[] = {
        {{100, 150}, Qt::NoButton, {.25, .75}},
        {{200, 50}, Qt::NoButton, {.5, .25}}, // not over the view
        {{-7, 900}, Qt::NoButton, {0, 1}},    // beside the window
        {{300, 150}, Qt::LeftButton, {.75, .75}},
        {{100, 150}, Qt::RightButton, {.75, .75}}, // does not count
        {{100, 150}, Qt::NoButton, {.25, .75}}};
    for (const auto& [position, button, expected] : moves) {
        if (button != Qt::NoButton)
            QTest::mousePress(view, button);
        QMouseEvent move(QEvent::MouseMove, position, window.mapToGlobal(QPointF(position)),
                         Qt::NoButton, button, Qt::NoModifier);
        // The widget that a button went down on gets the moves until it goes up again.
        QObject* const receiver = button == Qt::NoButton ? static_cast<QObject*>(whole) : view;
        QCoreApplication::sendEvent(receiver, &move);
        if (button != Qt::NoButton)
            QTest::mouseRelease(view, button);
        EXPECT_EQ(location, expected) << position.x() << ", " << position.y();
    }
}

TEST_F(InputTest, TheViewReportsButtons) {
    QTest::mousePress(view, Qt::LeftButton);
    QTest::mousePress(view, Qt::RightButton);
    QTest::mousePress(view, Qt::MiddleButton);
    QTest::mouseRelease(view, Qt::LeftButton);
    QTest::mouseRelease(view, Qt::RightButton);
    QTest::mouseDClick(view, Qt::LeftButton); // the second press alone
    EXPECT_EQ(left, (std::vector<bool>{true, false, true}));
    EXPECT_EQ(right, (std::vector<bool>{true, false}));
}

TEST_F(InputTest, KeysOfTheFocusedWindowReachTheConsole) {
    QObject owner;
    platform::Log log(platform::printNothing);
    starloom::Keyboard keyboard;
    keyboard.setSource(makeKeyboardSource(owner, log));
    const auto held = [&] { return starloom::codesOf(keyboard.getKeyboardState().state); };
    QWindow* const focused = window.windowHandle();
    const std::tuple<QTest::KeyAction, Qt::Key, Qt::KeyboardModifiers, std::vector<int>> steps[] = {
        {QTest::Press, Qt::Key_A, Qt::NoModifier, {97}},
        {QTest::Press, Qt::Key_Left, Qt::NoModifier, {28, 97}},
        {QTest::Press, Qt::Key_Shift, Qt::NoModifier, {1, 28, 65}},
        {QTest::Release, Qt::Key_Shift, Qt::ShiftModifier, {28, 97}},
        {QTest::Release, Qt::Key_A, Qt::NoModifier, {28}},
        {QTest::Press, Qt::Key_Control, Qt::NoModifier, {3}},
        {QTest::Press, Qt::Key_Return, Qt::ControlModifier, {3}},
        {QTest::Release, Qt::Key_Control, Qt::ControlModifier, {13, 28}}};
    for (const auto& [action, key, modifiers, expected] : steps) {
        QTest::sendKeyEvent(action, focused, key, QString(), modifiers);
        EXPECT_EQ(held(), expected) << key;
    }
    QWidget other;
    other.show();
    other.activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&other));
    EXPECT_EQ(held(), std::vector<int>{}) << "the focus went to another window";
}

} // namespace app
