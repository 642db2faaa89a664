// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The window of one document: the stage, the panes around it, the menus.
#pragma once

#include "app/console/Console.h"
#include "app/console/DocumentProcesses.h"
#include "app/console/OpenDocument.h"
#include "app/panes/LogPane.h"
#include "app/panes/SourcePane.h"
#include "app/stage/Stage.h"
#include "app/window/Actions.h"
#include "app/window/DocumentCommands.h"
#include "app/window/Exports.h"
#include "app/window/HelpWindow.h"
#include "app/window/Settings.h"

#include <QDockWidget>
#include <QMainWindow>

#include <memory>
#include <vector>

namespace app {

class ConsoleWindow final : public QMainWindow {
public:
    explicit ConsoleWindow(const DocumentOrigin& origin);
    ~ConsoleWindow() override;

    DocumentCommands& documents() { return *m_documents; }

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    std::unique_ptr<QWidget> makeMouseTracking();
    void buildPanes();
    QWidget* buildControls();
    QDockWidget* addPane(const QString& name, const char* id, QWidget* content, Qt::DockWidgetArea);
    void connectActions();
    void observe();
    void showProgram();
    void showProblem();
    void showTitle();
    void setFullScreen(bool full);
    void showHelp();
    void restoreLayout();

    Settings m_settings;
    Console m_console;
    OpenDocument m_document;
    DocumentProcesses m_processes;
    Actions m_actions;
    Stage* m_stage;
    LogPane* m_log;
    SourcePane* m_source;
    std::vector<QDockWidget*> m_panes;
    QPointer<HelpWindow> m_help; ///< made when first asked for
    QByteArray m_layoutBeforeFullScreen;
    bool m_wasMaximized = false;
    bool m_fitPicture = false; ///< to its own size, when the window is first shown
    std::unique_ptr<DocumentCommands> m_documents;
    std::unique_ptr<Exports> m_exports;
    std::vector<platform::Observation> m_observations;
};

} // namespace app
