// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/PerformerWindow.h"

#include "app/panes/Performance.h"
#include "platform/process/ResidentMemory.h"

#include <QAction>
#include <QCloseEvent>
#include <QGridLayout>
#include <QGuiApplication>
#include <QLocale>
#include <QScreen>

#include <cmath>

namespace app {

static constexpr QSize firstSize{900, 640};
static constexpr int refreshMilliseconds = 50;
static constexpr int memoryMilliseconds = 2000;
static constexpr double quietest = -48; ///< decibels of full scale at the left end of the meter

PerformerWindow::PerformerWindow(QWidget& window, Console& console, QAction& shown)
    : QWidget(&window, Qt::Window),
      m_window(window),
      m_console(console),
      m_shown(shown),
      m_level(new QProgressBar),
      m_source(new SourcePane),
      m_problems(new ProblemsList([this](SourcePosition position) { m_source->show(position); })) {
    setWindowTitle(tr("Performer \u2013 Starloom 42"));
    auto* grid = new QGridLayout(this);
    m_time = addReading(*grid, tr("Time"));
    m_beat = addReading(*grid, tr("Pattern, bar, beat"));
    m_rate = addReading(*grid, tr("Frames a second"));
    m_memory = addReading(*grid, tr("Memory"));
    m_level->setRange(0, 1000);
    m_level->setTextVisible(false);
    m_level->setAccessibleName(tr("Level of sound"));
    grid->addWidget(m_level, 2, 0, 1, -1);
    grid->addWidget(m_problems, 3, 0, 1, -1);
    grid->addWidget(m_source, 4, 0, 1, -1);
    grid->setRowStretch(4, 1);
    resize(firstSize);
    addActions(window.actions());
    connect(&m_timer, &QTimer::timeout, this, &PerformerWindow::refresh);
    connect(&m_memoryTimer, &QTimer::timeout, this, &PerformerWindow::refreshMemory);
    connect(&shown, &QAction::toggled, this, &PerformerWindow::setShown);
}

QLabel* PerformerWindow::addReading(QGridLayout& grid, const QString& name) {
    const int column = grid.columnCount() - (grid.count() == 0 ? 1 : 0);
    auto* label = new QLabel(name);
    label->setObjectName("quiet");
    auto* value = new QLabel;
    QFont font = value->font();
    font.setPointSize(2 * font.pointSize());
    value->setFont(font);
    value->setAccessibleName(name);
    grid.addWidget(label, 0, column);
    grid.addWidget(value, 1, column);
    return value;
}

// The audience looks at the screen with the console's window.
void PerformerWindow::setShown(bool shown) {
    if (!shown) {
        m_timer.stop();
        m_memoryTimer.stop();
        hide();
        return;
    }
    for (const QScreen* screen : QGuiApplication::screens())
        if (screen != m_window.screen())
            move(screen->availableGeometry().center() - rect().center());
    m_timer.start(refreshMilliseconds);
    m_memoryTimer.start(memoryMilliseconds);
    refresh();
    refreshMemory();
    show();
}

void PerformerWindow::closeEvent(QCloseEvent* event) {
    m_shown.setChecked(false);
    event->accept();
}

void PerformerWindow::refresh() {
    auto& engine = m_console.engine();
    const int seconds = static_cast<int>(engine.time());
    m_time->setText(QString("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QChar('0')));
    const auto [pattern, bar, beat] = songPositionAt(engine.machine().audioSpec, engine.sample());
    m_beat->setText(QString("%1 \u00b7 %2 \u00b7 %3").arg(pattern).arg(bar).arg(beat));
    m_rate->setText(QString::number(m_console.view().framesPerSecond()));
    const auto& song = engine.audioRenderer().audioBuffer();
    const bool sounds = song && engine.audioRenderer().isPlaying().get();
    const double peak = sounds ? peakBefore(*song, engine.sample()) : 0;
    const double decibels = peak > 0 ? 20 * std::log10(peak) : quietest;
    m_level->setValue(static_cast<int>(m_level->maximum() * (1 - decibels / quietest)));
}

void PerformerWindow::refreshMemory() {
    const auto bytes = platform::residentMemoryWithChildren();
    m_memory->setText(bytes ? QLocale().formattedDataSize(static_cast<qint64>(*bytes))
                            : QString("\u2013"));
}

} // namespace app
