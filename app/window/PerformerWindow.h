// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the performer wants to see and the audience should not: a window for the other screen.
#pragma once

#include "app/console/Console.h"
#include "app/panes/ProblemsList.h"
#include "app/panes/SourcePane.h"

#include <QLabel>
#include <QProgressBar>
#include <QTimer>
#include <QWidget>

#include <functional>

class QAction;
class QGridLayout;

namespace app {

/// Belongs to the console's window and goes with it. Large enough to be read from a step away.
class PerformerWindow final : public QWidget {
public:
    /// `shown` is on while the window is. The keys of the console's window work here, too.
    PerformerWindow(QWidget& window, Console& console, QAction& shown);

    SourcePane& source() { return *m_source; }
    ProblemsList& problems() { return *m_problems; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void setShown(bool shown);
    QLabel* addReading(QGridLayout& grid, const QString& name);
    void refresh();
    void refreshMemory();

    QWidget& m_window;
    Console& m_console;
    QAction& m_shown;
    QLabel* m_time;
    QLabel* m_beat;
    QLabel* m_rate;
    QLabel* m_memory;
    QProgressBar* m_level;
    SourcePane* m_source;
    ProblemsList* m_problems;
    QTimer m_timer;
    QTimer m_memoryTimer;
};

} // namespace app
