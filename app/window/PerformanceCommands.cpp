// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/PerformanceCommands.h"

#include "app/window/NewFile.h"
#include "app/window/SavedNotice.h"

#include <utility>

namespace app {

PerformanceCommands::PerformanceCommands(Console& console, NoticeBar& notices,
                                         const Actions& actions)
    : m_console(console), m_notices(notices), m_record(actions.recordPerformance) {
    connect(m_record, &QAction::toggled, this, [this](bool on) { on ? start() : stop(); });
}

PerformanceCommands::~PerformanceCommands() {
    if (m_recording) // the file is whole also without its end
        (void)m_recording->stop();
}

void PerformanceCommands::start() {
    m_file = newFile(QStandardPaths::MoviesLocation, m_console.engine().title(), ".performance");
    auto started = starloom::PerformanceRecording::start(m_console.engine(), m_file);
    if (started) {
        m_recording = *std::move(started);
        return;
    }
    m_notices.showError(QString::fromStdString(started.error().message));
    m_record->setChecked(false);
}

void PerformanceCommands::stop() {
    const auto recording = std::exchange(m_recording, nullptr);
    if (!recording)
        return;
    if (const auto stopped = recording->stop(); !stopped)
        m_notices.showError(QString::fromStdString(stopped.error().message));
    else
        showSaved(m_notices, m_file);
}

} // namespace app
