// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Everything that a person can do in a console's window, with its keys and its place in the menus.
#pragma once

#include <QAction>

class QMenu;
class QMenuBar;
class QWidget;

namespace app {

/// The actions do nothing by themselves; whoever knows how connects to them. They belong to the
/// window, where their keys work also while the menu bar is hidden.
struct Actions {
    explicit Actions(QWidget& window);
    /// Menus whose entries change.
    struct Submenus {
        QMenu& recentFiles;
        QMenu& screens;
        QMenu& devices;
    };
    /// `panes` show and hide the window's panes.
    void addMenus(QMenuBar& bar, const Submenus& submenus, const QList<QAction*>& panes) const;

    QAction *newDocument, *open, *save, *saveAs, *savePacked;
    QAction *exportPicture, *exportSong, *exportVideo;
    QAction *savePicture, *recordShow, *saveLast, *keepLast, *recordPerformance;
    QAction *close, *quit;
    QAction *play, *reset, *runAgain, *edit, *reloadOnEveryWrite, *olderText, *newerText,
        *showError;
    QAction *fullScreen, *leaveFullScreen, *wholeScales, *blackSurround, *badgeOnStage, *performer;
    QAction *overlay, *invertOverlay, *overlaySource;
    QAction *pickWindow, *capture, *recordCapture, *openRecordings;
    QAction *mute, *louder, *softer;
    QAction *help, *about;
};

} // namespace app
