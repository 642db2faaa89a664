// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The window of one document: the stage, the panes around it, the menus.
#pragma once

#include "app/common/Actions.h"
#include "app/common/Settings.h"
#include "app/console/Console.h"
#include "app/console/DocumentClaim.h"
#include "app/console/DocumentProcesses.h"
#include "app/console/OpenDocument.h"
#include "app/console/Succession.h"
#include "app/panes/LogPane.h"
#include "app/panes/ProblemsList.h"
#include "app/panes/SourcePane.h"
#include "app/panes/WindowList.h"
#include "app/stage/Stage.h"
#include "app/window/DeviceMenu.h"
#include "app/window/DocumentCommands.h"
#include "app/window/Exports.h"
#include "app/window/FullScreen.h"
#include "app/window/HelpWindow.h"
#include "app/window/HistoryCommands.h"
#include "app/window/OverlayCommands.h"
#include "app/window/PerformanceCommands.h"
#include "app/window/PerformerWindow.h"
#include "app/window/QuickCapture.h"
#include "platform/process/Supervision.h"

#include <QDockWidget>
#include <QMainWindow>
#include <QTimer>

#include <memory>
#include <vector>

namespace app {

class ConsoleWindow final : public QMainWindow {
public:
    /// `supervised` gets what another process needs to go on where this one stands, and must
    /// outlive the window.
    /// `claim` is that to the document's file; it must outlive the window, too.
    ConsoleWindow(const DocumentOrigin& origin, platform::Supervised& supervised,
                  DocumentClaim& claim);
    ~ConsoleWindow() override;

    DocumentCommands& documents() { return *m_documents; }
    /// Shows the window to somebody who asked for its document.
    void present();
    /// Puts the window where the one before stood.
    void restore(const Bequest& bequest);
    /// For a process that is about to end without closing its window: leaves no file half made.
    void settleFiles();

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    std::unique_ptr<QWidget> makeMouseTracking();
    void buildPanes();
    QWidget* buildControls();
    QWidget* buildCapture();
    QWidget* buildLog();
    QDockWidget* addPane(const QString& name, const char* id, QWidget* content, Qt::DockWidgetArea);
    /// Checked while the pane can be seen: not while it is hidden, or behind another one.
    QAction* makeToggle(QDockWidget& pane);
    void connectActions();
    void observe();
    void showProgram();
    void showProblem();
    void showLog();
    void goTo(SourcePosition position);
    void setBadgeQuiet();
    void showFault(const std::string& fault);
    void showTitle();
    void setFullScreen(bool full);
    void showHelp();
    void openPicker();
    void restoreLayout();
    void runAgain();
    /// Tells the process that may come after this one how things stand.
    void bequeath();
    void announceRestart();

    platform::Supervised& m_supervised;
    Settings m_settings;
    Console m_console;
    OpenDocument m_document;
    DocumentProcesses m_processes;
    Actions m_actions;
    Stage* m_stage;
    LogPane* m_log;
    ProblemsList* m_problems;
    SourcePane* m_source;
    WindowList* m_windowList;
    std::vector<QDockWidget*> m_panes;
    QPointer<HelpWindow> m_help; ///< made when first asked for
    QByteArray m_layoutBeforeFullScreen;
    QTimer m_bequeathTimer;
    QString m_faultNotice;
    std::string m_offered;     ///< a newer text than the one that runs; empty for none
    std::string m_runInstead;  ///< of the offered one
    bool m_fitPicture = false; ///< to its own size, when the window is first shown
    std::unique_ptr<DeviceMenu> m_devices;
    std::unique_ptr<DocumentCommands> m_documents;
    std::unique_ptr<Exports> m_exports;
    std::unique_ptr<HistoryCommands> m_history;
    std::unique_ptr<QuickCapture> m_quickCapture;
    std::unique_ptr<PerformanceCommands> m_performance;
    std::unique_ptr<FullScreen> m_fullScreen;
    std::unique_ptr<OverlayCommands> m_overlay;
    PerformerWindow* m_performer = nullptr; ///< the window's child
    std::vector<platform::Observation> m_observations;
};

} // namespace app
