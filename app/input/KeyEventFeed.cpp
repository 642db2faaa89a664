// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/input/KeyEventFeed.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QWindow>

#include <optional>
#include <utility>

namespace app {
namespace {

using platform::ModifierKey;

std::optional<ModifierKey> modifierOf(int key) {
    switch (key) {
    case Qt::Key_Shift:
        return ModifierKey::Shift;
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
        return ModifierKey::Command;
    case Qt::Key_Control:
        return ModifierKey::Control;
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
        return ModifierKey::Option;
    default:
        return std::nullopt;
    }
}

char32_t characterOf(const QKeyEvent& event) {
    switch (event.key()) {
    case Qt::Key_Left:
        return platform::arrowLeft;
    case Qt::Key_Right:
        return platform::arrowRight;
    case Qt::Key_Up:
        return platform::arrowUp;
    case Qt::Key_Down:
        return platform::arrowDown;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return 13;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return 9;
    case Qt::Key_Backspace:
        return 8;
    case Qt::Key_Escape:
        return 27;
    case Qt::Key_Delete:
        return 127;
    default:
        break;
    }
    // Together with Control the text is not what the key says by itself.
    const QString text = event.text();
    if (text.size() == 1 && text[0].isPrint())
        return text[0].unicode();
    const bool letter = event.key() >= Qt::Key_A && event.key() <= Qt::Key_Z;
    return letter ? static_cast<char32_t>(event.key() - Qt::Key_A) + U'a' : 0;
}

/// Keys without a number of their own, as in tests and on unusual displays, are told apart by what
/// they mean.
unsigned numberOf(const QKeyEvent& event) {
    constexpr unsigned beyondNumbers = 1U << 31;
    const unsigned number = event.nativeScanCode();
    return number != 0 ? number : beyondNumbers | static_cast<unsigned>(event.key());
}

} // namespace

KeyEventFeed::KeyEventFeed(QObject* parent, std::shared_ptr<platform::FocusKeyStateSource> source)
    : QObject(parent), m_source(std::move(source)) {
    qApp->installEventFilter(this);
    connect(qApp, &QGuiApplication::focusWindowChanged, this, [this] { m_source->loseFocus(); });
}

// Events are looked at where the window system hands them to a window, before widgets pass them on
// to each other.
bool KeyEventFeed::eventFilter(QObject* watched, QEvent* event) {
    if (watched->isWindowType() &&
        (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease)) {
        const auto& key = *static_cast<const QKeyEvent*>(event);
        if (!key.isAutoRepeat() && event->type() == QEvent::KeyPress)
            press(key);
        else if (!key.isAutoRepeat())
            m_source->release(numberOf(key));
    }
    return QObject::eventFilter(watched, event);
}

void KeyEventFeed::press(const QKeyEvent& event) {
    if (const auto modifier = modifierOf(event.key()))
        m_source->pressModifier(numberOf(event), *modifier);
    else
        m_source->press(numberOf(event), characterOf(event),
                        event.modifiers().testFlag(Qt::ShiftModifier));
}

} // namespace app
