// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/input/KeyboardAndMouseTrackingNSView.h"

#include "platform/Log.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>

#include <utility>

namespace app {

KeyboardAndMouseTrackingNSView::KeyboardAndMouseTrackingNSView(SetLocation mouseLocation,
                                                               SetButton leftMouseDown,
                                                               SetButton rightMouseDown)
    : m_mouseLocation(std::move(mouseLocation)),
      m_leftMouseDown(std::move(leftMouseDown)),
      m_rightMouseDown(std::move(rightMouseDown)) {
    setGeometry(0, 0, 0, 0);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::StrongFocus);
    setContextMenuPolicy(Qt::PreventContextMenu); // the right button belongs to the program
    qApp->installEventFilter(this);
}

bool KeyboardAndMouseTrackingNSView::event(QEvent* event) {
    if (event->type() == QEvent::ParentChange)
        platform::printToStandardOutput("Moved");
    return QWidget::event(event);
}

void KeyboardAndMouseTrackingNSView::setButton(Qt::MouseButton button, bool down) const {
    if (button == Qt::LeftButton)
        m_leftMouseDown(down);
    else if (button == Qt::RightButton)
        m_rightMouseDown(down);
}

void KeyboardAndMouseTrackingNSView::mousePressEvent(QMouseEvent* event) {
    setButton(event->button(), true);
}

void KeyboardAndMouseTrackingNSView::mouseReleaseEvent(QMouseEvent* event) {
    setButton(event->button(), false);
}

// Drags move the position as long as the left button is down. Moves without a button come through
// the filter.
void KeyboardAndMouseTrackingNSView::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons().testFlag(Qt::LeftButton))
        moveTo(event->globalPosition());
}

// Key combinations that no action of the window wanted end here. The window's own are taken out of
// the stream of events before it reaches a widget.
void KeyboardAndMouseTrackingNSView::keyPressEvent(QKeyEvent* event) {
    event->setAccepted(
        (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) != 0);
}

// Moves are looked at where the window system hands them to a window: widgets get those without a
// button only when they ask for them.
bool KeyboardAndMouseTrackingNSView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::MouseMove && watched->isWindowType()) {
        const auto* move = static_cast<const QMouseEvent*>(event);
        if (move->buttons() == Qt::NoButton)
            moveTo(move->globalPosition());
    }
    return QWidget::eventFilter(watched, event);
}

void KeyboardAndMouseTrackingNSView::moveTo(QPointF globalPosition) const {
    const QRectF content =
        m_content ? m_content() : QRectF(mapFrom(window(), QPoint(0, 0)), window()->size());
    const QPointF position = mapFromGlobal(globalPosition) - content.topLeft();
    m_mouseLocation(
        starloom::normalize(position.x(), position.y(), {content.width(), content.height()}));
}

} // namespace app
