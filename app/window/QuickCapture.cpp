// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/QuickCapture.h"

#include "app/window/MakeFiles.h"
#include "app/window/NewFile.h"
#include "app/window/SavedNotice.h"

#include <QSignalBlocker>

#include <algorithm>
#include <utility>

namespace app {
namespace fs = std::filesystem;

namespace {

constexpr double keptSeconds = 15;
constexpr int advanceMilliseconds = 8;

} // namespace

QuickCapture::QuickCapture(const Parts& parts, const Actions& actions)
    : m_parts(parts), m_record(actions.recordShow), m_keep(actions.keepLast) {
    connect(actions.savePicture, &QAction::triggered, this, &QuickCapture::savePicture);
    connect(m_record, &QAction::toggled, this, &QuickCapture::record);
    connect(m_keep, &QAction::toggled, this, &QuickCapture::keep);
    connect(actions.saveLast, &QAction::triggered, this, &QuickCapture::saveLast);
    connect(&m_timer, &QTimer::timeout, this,
            [this] { m_recorder->advance(m_parts.console.audioEngine().time()); });
    m_timer.setTimerType(Qt::PreciseTimer);
    m_keep->setChecked(m_parts.settings.keepLast.get());
}

QuickCapture::~QuickCapture() {
    dropRecorder();
}

QLabel* QuickCapture::makeMark() {
    auto* mark = new QLabel(tr("\u25cf Recording"));
    mark->setObjectName("recording");
    mark->setAccessibleName(tr("The show is being recorded"));
    m_marks.push_back(mark);
    showMarks();
    return mark;
}

void QuickCapture::showMarks() {
    for (QLabel* mark : m_marks)
        mark->setVisible(m_record->isChecked());
}

void QuickCapture::savePicture() {
    const fs::path file =
        newFile(QStandardPaths::PicturesLocation, m_parts.console.engine().title(), ".png");
    const auto end = [this](FileTask& task, const auto& result) { pictureSaved(task, result); };
    m_pictures.push_back(std::make_unique<FileTask>(
        tr("Picture"), file, makePicture(m_parts.console.view().picture(), file),
        FileTask::Client{.progress = [](const auto&, auto, auto) {}, .finished = end}));
}

void QuickCapture::pictureSaved(FileTask& task, const platform::Result<void>& result) {
    if (result)
        showSaved(m_parts.notices, task.file());
    else
        m_parts.notices.showError(QString::fromStdString(result.error().message));
    const auto at = std::ranges::find(m_pictures, &task, &std::unique_ptr<FileTask>::get);
    at->release()->deleteLater(); // it is calling
    m_pictures.erase(at);
}

void QuickCapture::needRecorder() {
    platform::AudioEngine& sound = m_parts.console.audioEngine();
    if (m_recorder)
        return;
    sound.tap()->setOpen(true);
    const auto end = [this](const std::string& path, const platform::Result<void>& result) {
        QMetaObject::invokeMethod(this, [this, path, result] { finished(path, result); });
    };
    m_recorder = std::make_unique<starloom::ShowRecorder>(
        sound.tap(), sound.time(), starloom::ShowRecorder::Client{.finished = end});
    m_parts.console.view().setTap(m_recorder->pictures(), [&sound] { return sound.time(); });
    m_timer.start(advanceMilliseconds);
}

void QuickCapture::dropRecorder() {
    if (!m_recorder)
        return;
    m_timer.stop();
    m_parts.console.view().setTap({}, {});
    m_recorder.reset();
    m_parts.console.audioEngine().tap()->setOpen(false);
    m_file.clear();
    m_saves = 0;
}

void QuickCapture::dropUnneededRecorder() {
    if (m_file.empty() && m_saves == 0 && !m_keep->isChecked())
        dropRecorder();
}

void QuickCapture::record(bool on) {
    showMarks();
    if (!on && !m_recorder)
        return;
    if (!on)
        return m_recorder->finishFile();
    needRecorder();
    m_file =
        newFile(QStandardPaths::MoviesLocation, m_parts.console.engine().title(), ".mp4").string();
    m_recorder->startFile(m_file);
}

void QuickCapture::keep(bool on) {
    m_parts.settings.keepLast.set(on);
    if (on)
        needRecorder();
    if (m_recorder)
        m_recorder->keepLast(on ? keptSeconds : 0);
    dropUnneededRecorder();
}

void QuickCapture::saveLast() {
    if (!m_keep->isChecked())
        return m_parts.notices.showInformation(
            tr("The last %1 seconds have not been kept").arg(keptSeconds),
            {tr("Keep Them from Now On"), [this] { m_keep->setChecked(true); }});
    ++m_saves;
    m_recorder->saveLast(newFile(QStandardPaths::MoviesLocation,
                                 m_parts.console.engine().title() + tr(" last").toStdString(),
                                 ".mp4")
                             .string());
}

// Without a path nothing more can be recorded at all.
void QuickCapture::finished(const std::string& path, const platform::Result<void>& result) {
    if (result)
        showSaved(m_parts.notices, path);
    else
        m_parts.notices.showError(
            tr("The recording failed: %1").arg(QString::fromStdString(result.error().message)));
    if (path != m_file && !path.empty()) {
        m_saves = std::max(m_saves - 1, 0);
    } else {
        m_file.clear();
        const QSignalBlocker blocker(m_record);
        m_record->setChecked(false);
        showMarks();
    }
    if (path.empty()) {
        const QSignalBlocker blocker(m_keep); // what the settings say is for the next time
        m_keep->setChecked(false);
        m_saves = 0;
    }
    dropUnneededRecorder();
}

} // namespace app
