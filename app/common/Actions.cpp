// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/common/Actions.h"

#include <QCoreApplication>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>

namespace app {
namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("Actions", text);
}

QAction* make(QWidget& window, const char* text, const QList<QKeySequence>& keys = {}) {
    auto* action = new QAction(tr(text), &window);
    action->setShortcuts(keys);
    window.addAction(action);
    return action;
}

QAction* makeSwitch(QWidget& window, const char* text, const QList<QKeySequence>& keys = {}) {
    QAction* action = make(window, text, keys);
    action->setCheckable(true);
    return action;
}

QMenu& addMenu(QMenuBar& bar, const char* title, const QList<QAction*>& actions) {
    QMenu& menu = *bar.addMenu(tr(title));
    for (QAction* action : actions) {
        if (action)
            menu.addAction(action);
        else
            menu.addSeparator();
    }
    return menu;
}

QList<QKeySequence> keys(const char* first, const char* second = nullptr) {
    QList<QKeySequence> list{QKeySequence(first)};
    if (second)
        list.append(QKeySequence(second));
    return list;
}

} // namespace

Actions::Actions(QWidget& window)
    : newDocument(make(window, "&New", keys("Ctrl+N"))),
      open(make(window, "&Open\u2026", keys("Ctrl+O"))),
      save(make(window, "&Save", keys("Ctrl+S"))),
      saveAs(make(window, "Save &As\u2026", keys("Ctrl+Shift+S"))),
      savePacked(make(window, "Save &Packed\u2026")),
      exportPicture(make(window, "Export &Picture\u2026", keys("Shift+F8"))),
      exportSong(make(window, "Export Son&g\u2026")),
      exportVideo(make(window, "Export &Video\u2026")),
      savePicture(make(window, "Save P&icture Now", keys("F8"))),
      recordShow(makeSwitch(window, "Record S&how", keys("F9"))),
      saveLast(make(window, "Save the &Last 15 Seconds", keys("Ctrl+F9"))),
      keepLast(makeSwitch(window, "&Keep the Last 15 Seconds")),
      recordPerformance(makeSwitch(window, "Record Per&formance", keys("Shift+F9"))),
      close(make(window, "&Close", keys("Ctrl+W"))),
      quit(make(window, "&Quit", keys("Ctrl+Q"))),
      play(makeSwitch(window, "&Play", keys("Ctrl+P"))),
      reset(make(window, "&Reset", keys("Ctrl+R"))),
      runAgain(make(window, "Run A&gain", keys("Ctrl+Return", "Ctrl+Enter"))),
      edit(make(window, "Open in &Editor", keys("Ctrl+E"))),
      reloadOnEveryWrite(makeSwitch(window, "Reload on Every &Write")),
      olderText(make(window, "&Older Text", keys("Ctrl+Alt+Left"))),
      newerText(make(window, "Ne&wer Text", keys("Ctrl+Alt+Right"))),
      showError(make(window, "&Show Error", keys("F4"))),
      fullScreen(makeSwitch(window, "&Full Screen", keys("F11", "Alt+Return"))),
      leaveFullScreen(make(window, "Leave Full Screen", keys("Esc"))),
      wholeScales(makeSwitch(window, "&Whole-Number Scales Only")),
      blackSurround(makeSwitch(window, "&Black Around the Picture")),
      badgeOnStage(makeSwitch(window, "Show Problems in Full &Screen")),
      performer(makeSwitch(window, "&Performer Window", keys("F12"))),
      overlay(makeSwitch(window, "&Overlay", keys("Ctrl+L"))),
      invertOverlay(makeSwitch(window, "&Invert Overlay", keys("Ctrl+Shift+L"))),
      overlaySource(makeSwitch(window, "Overlay: &Source", keys("Ctrl+Alt+L"))),
      pickWindow(make(window, "&Pick Window\u2026")),
      capture(makeSwitch(window, "&Capture Window")),
      recordCapture(makeSwitch(window, "&Record Capture")),
      openRecordings(make(window, "Open Recordings &Folder")),
      mute(makeSwitch(window, "&Mute", keys("Ctrl+M"))),
      louder(make(window, "&Louder", keys("Ctrl+Up"))),
      softer(make(window, "So&fter", keys("Ctrl+Down"))),
      help(make(window, "&Reference", keys("F1"))),
      about(make(window, "&About Starloom 42")) {
    play->setChecked(true);
    // Beside each other in the pane there is less room than in the menu.
    invertOverlay->setIconText(tr("Invert"));
    overlaySource->setIconText(tr("Source"));
    capture->setIconText(tr("Capture"));
    recordCapture->setIconText(tr("Record"));
    openRecordings->setIconText(tr("Open Folder"));
    leaveFullScreen->setEnabled(false);
    showError->setEnabled(false);
}

void Actions::addMenus(QMenuBar& bar, const Submenus& submenus,
                       const QList<QAction*>& panes) const {
    QMenu& file = addMenu(bar, "&File",
                          {newDocument, open, nullptr, save, saveAs, savePacked, nullptr,
                           exportPicture, exportSong, exportVideo, nullptr, savePicture, recordShow,
                           saveLast, keepLast, recordPerformance, nullptr, close, quit});
    file.insertMenu(file.actions().at(2), &submenus.recentFiles);
    addMenu(bar, "&Program",
            {play, reset, runAgain, nullptr, edit, reloadOnEveryWrite, nullptr, olderText,
             newerText, nullptr, showError});
    QMenu& view = addMenu(
        bar, "&View",
        {fullScreen, wholeScales, blackSurround, badgeOnStage, nullptr, performer, nullptr});
    view.insertMenu(wholeScales, &submenus.screens);
    view.addActions(panes);
    addMenu(bar, "&Overlay",
            {overlay, invertOverlay, overlaySource, nullptr, pickWindow, capture, recordCapture,
             openRecordings});
    addMenu(bar, "&Sound", {mute, louder, softer});
    bar.addMenu(&submenus.devices);
    addMenu(bar, "&Help", {help, nullptr, about});
}

} // namespace app
