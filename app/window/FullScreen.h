// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The window as a stage: which screen it fills, what lies around the picture, the pointer that goes
// when nobody moves it, and a desktop that stays awake. What else of the window is hidden meanwhile
// is the window's own affair.
#pragma once

#include "app/common/Actions.h"
#include "app/common/Settings.h"
#include "app/stage/IdlePointer.h"
#include "app/stage/PreviewWidget.h"
#include "platform/desktop/StayAwake.h"

#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QScreen>

namespace app {

/// All that it is made with must outlive it.
class FullScreen final : public QObject {
public:
    FullScreen(QWidget& window, PreviewWidget& view, Settings& settings, const Actions& actions);

    /// The menu in which the screen is chosen.
    QMenu& screens() { return m_screens; }

    /// Fills the chosen screen; the one that the window is on where none is chosen or the chosen
    /// one is not there. Goes on doing so while screens come and go.
    void enter();
    /// Puts the window back to where it was.
    void leave();
    /// The window's geometry as it was before enter().
    const QByteArray& geometryBefore() const { return m_geometryBefore; }

private:
    void fillScreens();
    void choose(const QString& name);
    /// Null when it is not there, or none is chosen.
    QScreen* chosen() const;
    void fill(QScreen& screen);
    void placeAgain();
    void updateAwake();

    QWidget& m_window;
    Settings& m_settings;
    QAction* m_play;
    QMenu m_screens;
    IdlePointer m_pointer;
    platform::StayAwake m_awake;
    QByteArray m_geometryBefore;
    QPointer<QScreen> m_screenBefore;
    bool m_wasMaximized = false;
    bool m_entered = false;
};

} // namespace app
