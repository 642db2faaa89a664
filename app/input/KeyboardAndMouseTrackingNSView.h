// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A transparent view over the console's picture that reports the mouse. Keys are not its business:
// the console polls them (platform/keyboard).
#pragma once

#include "SL42/input/MouseValues.h"

#include <QRectF>
#include <QWidget>

#include <functional>
#include <utility>

namespace app {

class KeyboardAndMouseTrackingNSView final : public QWidget {
public:
    using SetLocation = std::function<void(starloom::MouseLocation)>;
    using SetButton = std::function<void(bool down)>;

    /// What the mouse does goes to these, one call per event. The view is made without parent and
    /// without extent; it prints "Moved" when it is put into its place. The application must exist.
    KeyboardAndMouseTrackingNSView(SetLocation mouseLocation, SetButton leftMouseDown,
                                   SetButton rightMouseDown);

    /// Where the console's picture lies in this view's coordinates, asked at every move. Locations
    /// are relative to it, so that a program finds the pointer where the person sees it; without
    /// it, they are relative to the whole window.
    void setContent(std::function<QRectF()> content) { m_content = std::move(content); }

protected:
    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    /// Sees moves without a button wherever they happen in the application, so that the position
    /// follows the pointer also over the controls and beside the window.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setButton(Qt::MouseButton button, bool down) const;
    void moveTo(QPointF globalPosition) const;

    SetLocation m_mouseLocation;
    SetButton m_leftMouseDown;
    SetButton m_rightMouseDown;
    std::function<QRectF()> m_content;
};

} // namespace app
