// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/ConsoleWindow.h"

#include "app/input/KeyboardAndMouseTrackingNSView.h"
#include "app/panes/ControlsPane.h"
#include "app/panes/PictureControls.h"
#include "app/panes/Readouts.h"
#include "app/panes/SoundControls.h"
#include "app/window/AboutBox.h"
#include "app/window/FitScreen.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMenuBar>
#include <QMimeData>
#include <QTimer>
#include <QVBoxLayout>

#include <utility>

namespace app {

static constexpr QSize firstSize{1252, 780};
static constexpr int bequeathMilliseconds = 1000;

static void bringToFront(QDockWidget& pane) {
    pane.show();
    pane.raise();
}

ConsoleWindow::ConsoleWindow(const DocumentOrigin& origin, platform::Supervised& supervised,
                             DocumentClaim& claim)
    : m_supervised(supervised),
      m_console(origin.title, origin.source, m_settings.device.get().toStdString()),
      m_document(origin, m_console.document(), m_console.journal(), m_console.history()),
      m_processes([this](const std::string& line) {
          m_stage->notices().showError(QString::fromStdString(line));
      }),
      m_actions(*this),
      m_stage(new Stage(m_console.view(), *makeMouseTracking().release())),
      m_log(new LogPane([this](SourcePosition position) { goTo(position); })),
      m_problems(new ProblemsList([this](SourcePosition position) { goTo(position); })),
      m_source(new SourcePane),
      m_windowList(new WindowList(m_console.engine().screenCapture())),
      m_offered(origin.offered),
      m_runInstead(origin.source) {
    setCentralWidget(m_stage);
    setAcceptDrops(true);
    m_devices = std::make_unique<DeviceMenu>(
        DeviceMenu::Parts{*m_console.device(), m_settings, m_stage->notices(),
                          [this] { m_console.engine().runAgain(); }});
    m_documents = std::make_unique<DocumentCommands>(
        DocumentCommands::Parts{*this, m_console, m_document, m_processes, claim, m_settings,
                                m_stage->notices(), [this] { showTitle(); }},
        m_actions);
    m_exports =
        std::make_unique<Exports>(*this, m_console, m_settings, m_stage->notices(), m_actions);
    m_history = std::make_unique<HistoryCommands>(m_console, m_stage->notices(), m_actions);
    m_quickCapture = std::make_unique<QuickCapture>(
        QuickCapture::Parts{m_console, m_settings, m_stage->notices()}, m_actions);
    m_performance = std::make_unique<PerformanceCommands>(m_console, m_stage->notices(), m_actions);
    m_fullScreen = std::make_unique<FullScreen>(*this, m_console.view(), m_settings, m_actions);
    m_overlay = std::make_unique<OverlayCommands>(
        OverlayCommands::Parts{m_console, m_settings, m_stage->notices(), [this] { openPicker(); }},
        m_actions);
    buildPanes();
    m_performer = new PerformerWindow(*this, m_console, *m_actions.performer);
    connectActions();
    observe();
    showProgram();
    restoreLayout();
    m_stage->takeFocus();
    if (auto followed = m_document.follow(); !followed)
        m_stage->notices().showError(QString::fromStdString(followed.error().message));
    if (m_supervised.recentDeaths() > 0)
        announceRestart();
    connect(&m_bequeathTimer, &QTimer::timeout, this, &ConsoleWindow::bequeath);
    m_bequeathTimer.start(bequeathMilliseconds);
    bequeath();
}

ConsoleWindow::~ConsoleWindow() = default;

std::unique_ptr<QWidget> ConsoleWindow::makeMouseTracking() {
    const auto change = [this](auto setter) {
        return [this, setter](auto value) {
            starloom::MouseValues values = m_console.engine().mouseValues();
            (values.*setter)(value);
            m_console.engine().setMouseValues(values);
        };
    };
    using starloom::MouseValues;
    auto view = std::make_unique<KeyboardAndMouseTrackingNSView>(
        change(&MouseValues::setMouseLocation), change(&MouseValues::setLeftMouseDown),
        change(&MouseValues::setRightMouseDown));
    view->setContent([this] { return m_console.view().pictureRect(); });
    return view;
}

void ConsoleWindow::buildPanes() {
    setDockOptions(AnimatedDocks | AllowNestedDocks);
    setCorner(Qt::BottomRightCorner, Qt::RightDockWidgetArea);
    addPane(tr("Controls"), "controls", buildControls(), Qt::RightDockWidgetArea);
    addPane(tr("Log"), "log", buildLog(), Qt::BottomDockWidgetArea);
    addPane(tr("Source"), "source", m_source, Qt::BottomDockWidgetArea);
    addPane(tr("Capture"), "capture", buildCapture(), Qt::LeftDockWidgetArea)->hide();
    QDockWidget* history =
        addPane(tr("History"), "history", m_history->pane(), Qt::BottomDockWidgetArea);
    tabifyDockWidget(m_panes[2], history); // which needs as much room as the source
    history->hide();
    QList<QAction*> toggles;
    for (std::size_t i = 0; i < m_panes.size(); ++i) {
        QAction* toggle = makeToggle(*m_panes[i]);
        toggle->setShortcut(QKeySequence(QString("Ctrl+%1").arg(i + 1)));
        addAction(toggle); // works also while the menu bar is hidden
        toggles.append(toggle);
    }
    menuBar()->setCornerWidget(m_quickCapture->makeMark()); // hidden in full screen
    m_actions.addMenus(*menuBar(),
                       {m_documents->recentFiles(), m_fullScreen->screens(), m_devices->menu()},
                       toggles);
}

QWidget* ConsoleWindow::buildControls() {
    auto* pane = new ControlsPane;
    pane->addControl(m_quickCapture->makeMark());
    pane->addButtons({m_actions.play, m_actions.reset});
    pane->addButtons({m_actions.edit});
    pane->addControl(new Readouts(
        m_console.engine(), [this] { return m_devices->inUse(); },
        [this] { return m_console.view().framesPerSecond(); }));
    addPictureControls(*pane, m_actions, m_console.view(), m_settings);
    pane->addHeading(tr("Sound"));
    pane->addControl(new SoundControls(m_actions, m_settings, m_console.audioEngine(),
                                       m_console.engine().audioMonitor()));
    pane->addHeading(tr("Export"));
    pane->addButtons({m_actions.exportPicture, m_actions.exportSong});
    pane->addButtons({m_actions.exportVideo, m_actions.savePacked});
    pane->addControl(m_exports->progressRow());
    pane->finish();
    return pane;
}

QWidget* ConsoleWindow::buildLog() {
    auto* pane = new QWidget;
    auto* column = new QVBoxLayout(pane);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addWidget(m_problems);
    column->addWidget(m_log);
    return pane;
}

QWidget* ConsoleWindow::buildCapture() {
    auto* pane = new ControlsPane;
    pane->addControl(m_windowList);
    pane->addButtons({m_actions.overlay, m_actions.invertOverlay});
    pane->addButtons({m_actions.overlaySource, m_actions.capture});
    pane->addButtons({m_actions.recordCapture, m_actions.openRecordings});
    pane->finish();
    m_windowList->onActivated = [this] { m_actions.overlay->setChecked(true); };
    return pane;
}

QDockWidget* ConsoleWindow::addPane(const QString& name, const char* id, QWidget* content,
                                    Qt::DockWidgetArea area) {
    auto* pane = new QDockWidget(name);
    pane->setObjectName(id); // by which the layout remembers it
    pane->setWidget(content);
    addDockWidget(area, pane);
    m_panes.push_back(pane);
    return pane;
}

QAction* ConsoleWindow::makeToggle(QDockWidget& pane) {
    auto* toggle = new QAction(pane.windowTitle(), this);
    toggle->setCheckable(true);
    connect(&pane, &QDockWidget::visibilityChanged, toggle, &QAction::setChecked);
    connect(toggle, &QAction::triggered, &pane, [&pane](bool show) {
        if (show)
            bringToFront(pane);
        else
            pane.hide();
    });
    return toggle;
}

void ConsoleWindow::connectActions() {
    auto& engine = m_console.engine();
    connect(m_actions.play, &QAction::toggled, this, [this, &engine](bool play) {
        engine.playing.set(play);
        m_actions.play->setText(play ? tr("&Pause") : tr("&Play"));
        bequeath();
    });
    m_actions.play->setText(tr("&Pause"));
    connect(m_actions.reset, &QAction::triggered, this, [&engine] { engine.reset(); });
    connect(m_actions.runAgain, &QAction::triggered, this, [this] { runAgain(); });
    connect(m_actions.reloadOnEveryWrite, &QAction::toggled, this, [this, &engine](bool reload) {
        engine.setReloadOnEveryWrite(reload);
        m_settings.reloadOnEveryWrite.set(reload);
    });
    m_actions.reloadOnEveryWrite->setChecked(m_settings.reloadOnEveryWrite.get());
    connect(m_actions.showError, &QAction::triggered, this, [this] {
        bringToFront(*m_panes[1]);
        bringToFront(*m_panes[2]);
        m_problems->goToNext();
    });
    connect(m_actions.edit, &QAction::triggered, this,
            [this] { m_windowList->expectEditor(m_document.followed().filename().string()); });
    m_actions.badgeOnStage->setChecked(m_settings.badgeOnStage.get());
    connect(m_actions.badgeOnStage, &QAction::toggled, this, [this](bool show) {
        m_settings.badgeOnStage.set(show);
        setBadgeQuiet();
    });
    m_stage->badge().setClicked([this] { m_actions.showError->trigger(); });
    connect(m_actions.fullScreen, &QAction::toggled, this, &ConsoleWindow::setFullScreen);
    connect(m_actions.leaveFullScreen, &QAction::triggered, this,
            [this] { m_actions.fullScreen->setChecked(false); });
    connect(m_actions.close, &QAction::triggered, this, &ConsoleWindow::close);
    connect(m_actions.quit, &QAction::triggered, this, &ConsoleWindow::close);
    connect(m_actions.help, &QAction::triggered, this, &ConsoleWindow::showHelp);
    connect(m_actions.about, &QAction::triggered, this, [this] { (new AboutBox(this))->open(); });
}

// The values change in tasks of the main queue, that is, from the event loop.
void ConsoleWindow::observe() {
    m_console.onComplaint([this](const std::string& line) {
        m_stage->notices().showError(QString::fromStdString(line));
    });
    auto& engine = m_console.engine();
    engine.onIgnoredWrite = [this] {
        m_stage->notices().showInformation(
            tr("Your editor wrote over its copy instead of replacing it, which does not count"),
            {tr("Reload on Every Write"),
             [this] { m_actions.reloadOnEveryWrite->setChecked(true); }});
    };
    m_observations = {
        engine.error().observe([this](const std::string&) { showProgram(); }),
        engine.hasError().observe([this](bool) { showProblem(); }),
        engine.fault().observe([this](const std::string& fault) { showFault(fault); }),
    };
}

void ConsoleWindow::showProgram() {
    if (m_console.engine().source() != m_runInstead)
        m_offered.clear();
    const auto& engine = m_console.engine();
    m_source->setSource(engine.source(), engine.blankLead());
    m_performer->source().setSource(engine.source(), engine.blankLead());
    showLog();
    m_history->pane()->changed();
    if (!m_document.isModified())
        m_console.journal().forget(); // the file has it
    showTitle();
    showProblem();
}

void ConsoleWindow::showProblem() {
    const auto& engine = m_console.engine();
    const QString fault =
        QString::fromStdString(faultInFile(engine.fault().get(), engine.blankLead()));
    QString problem;
    if (!m_offered.empty())
        problem = tr("The newest text waits; Ctrl+Enter runs it");
    else if (engine.hasError().get())
        problem = tr("Does not compile; the last good program runs on");
    else if (!fault.isEmpty())
        problem = fault;
    else if (!engine.warnings().get().empty() || m_problems->hasErrors())
        problem = tr("Not all of it runs; the log says why");
    const bool isWrong = engine.hasError().get() || !fault.isEmpty() ||
                         !engine.warnings().get().empty() || m_problems->hasErrors();
    const auto place = isWrong ? m_problems->firstPosition() : std::nullopt;
    const int lead = engine.blankLead().lines;
    m_overlay->setProgram(engine.source(),
                          place ? std::optional(static_cast<std::size_t>(place->line - lead))
                                : std::nullopt);
    m_stage->badge().setProblem(problem);
    m_actions.showError->setEnabled(!problem.isEmpty());
}

void ConsoleWindow::showLog() {
    const auto& engine = m_console.engine();
    m_log->setLog({.fault = engine.fault().get(),
                   .log = engine.error().get(),
                   .remarks = engine.remarks().get(),
                   .source = engine.source(),
                   .lead = engine.blankLead()});
    m_problems->setProblems(m_log->problems());
    m_performer->problems().setProblems(m_log->problems());
}

void ConsoleWindow::showFault(const std::string& fault) {
    showLog();
    showProblem();
    if (fault.empty())
        m_stage->notices().withdraw(std::exchange(m_faultNotice, {}));
    else
        m_stage->notices().showError(m_faultNotice = QString::fromStdString(
                                         faultInFile(fault, m_console.engine().blankLead())));
}

void ConsoleWindow::goTo(SourcePosition position) {
    m_source->show(position);
    m_performer->source().show(position);
}

// The audience has not come for what is wrong.
void ConsoleWindow::setBadgeQuiet() {
    m_stage->badge().setQuiet(m_actions.fullScreen->isChecked() &&
                              !m_actions.badgeOnStage->isChecked());
}

void ConsoleWindow::showTitle() {
    setWindowTitle(QString::fromStdString(m_document.name()) + "[*] \u2013 Starloom 42");
    setWindowModified(m_document.isModified());
}

// Floating panes stay where they are, perhaps on another screen.
void ConsoleWindow::setFullScreen(bool full) {
    m_actions.leaveFullScreen->setEnabled(full);
    m_stage->notices().setQuiet(full);
    setBadgeQuiet();
    menuBar()->setVisible(!full);
    if (full) {
        m_layoutBeforeFullScreen = saveState();
        for (QDockWidget* pane : m_panes)
            if (!pane->isFloating())
                pane->hide();
        m_fullScreen->enter();
    } else {
        m_fullScreen->leave();
        restoreState(m_layoutBeforeFullScreen);
    }
    m_stage->takeFocus();
    bequeath();
}

void ConsoleWindow::showHelp() {
    if (!m_help)
        m_help = new HelpWindow(this, help::HelpReference::builtIn(),
                                [this](const std::string& title, const std::string& source) {
                                    m_processes.openText(title, source);
                                });
    m_help->show();
    m_help->raise();
    m_help->activateWindow();
}

// On the stage it would cover the picture, so the audience does not see it.
void ConsoleWindow::openPicker() {
    QDockWidget* pane = m_panes[3];
    if (isFullScreen() && !pane->isFloating()) {
        m_stage->notices().showError(tr("No window has been picked for the overlay yet: pick one "
                                        "in the Capture pane (Ctrl+4)"));
        return;
    }
    bringToFront(*pane);
    m_windowList->takeFocus();
}

void ConsoleWindow::restoreLayout() {
    if (!restoreGeometry(m_settings.geometry.get())) {
        resize(fittingSize(*this, firstSize));
        m_fitPicture = true;
    }
    restoreState(m_settings.panes.get());
}

void ConsoleWindow::restore(const Bequest& bequest) {
    m_fitPicture = false;
    restoreGeometry(bequest.geometry);
    restoreState(bequest.panes);
    m_actions.play->setChecked(bequest.playing);
    m_actions.fullScreen->setChecked(bequest.fullScreen);
}

void ConsoleWindow::present() {
    if (isMinimized())
        showNormal();
    raise();
    activateWindow();
    QApplication::alert(this); // where the desktop does not let windows come forward
}

void ConsoleWindow::settleFiles() {
    m_exports->abandon();
    m_quickCapture.reset();
    m_performance.reset();
}

void ConsoleWindow::bequeath() {
    const bool full = m_actions.fullScreen->isChecked();
    const Bequest bequest{.journal = m_console.journal().file(),
                          .followed = m_document.followed(),
                          .geometry = full ? m_fullScreen->geometryBefore() : saveGeometry(),
                          .panes = full ? m_layoutBeforeFullScreen : saveState(),
                          .fullScreen = full,
                          .playing = m_actions.play->isChecked()};
    m_supervised.bequeath(bequest.encode());
}

void ConsoleWindow::announceRestart() {
    QString text = tr("The window ended unexpectedly and was started again: %1.")
                       .arg(QString::fromStdString(m_supervised.reason()));
    if (!m_offered.empty())
        text += tr(" The newest text is not run, since it may be the cause. Ctrl+Enter runs it.");
    m_stage->notices().showError(text);
}

// An offered text is newer than the one that runs, so it goes first.
void ConsoleWindow::runAgain() {
    if (m_offered.empty())
        m_console.engine().runAgain();
    else
        m_console.engine().setSource(std::exchange(m_offered, {}));
}

// The size of the panes is known only after the first layout.
void ConsoleWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    if (std::exchange(m_fitPicture, false))
        QTimer::singleShot(0, this, [this] {
            resize(fittingSize(*this, size() + m_stage->sizeHint() - m_stage->size()));
            moveOntoScreen(*this);
        });
}

void ConsoleWindow::closeEvent(QCloseEvent* event) {
    if (!m_documents->mayClose() || !m_exports->mayClose()) {
        event->ignore();
        return;
    }
    if (m_actions.fullScreen->isChecked())
        m_actions.fullScreen->setChecked(false);
    m_settings.geometry.set(saveGeometry());
    m_settings.panes.set(saveState());
    event->accept();
}

void ConsoleWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void ConsoleWindow::dropEvent(QDropEvent* event) {
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile())
            m_documents->openFile(url.toLocalFile().toStdString());
}

} // namespace app
