// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/Exports.h"

#include "app/window/MakeFiles.h"
#include "app/window/SavedNotice.h"
#include "app/window/VideoDialog.h"

#include <QHBoxLayout>
#include <QMessageBox>
#include <QPushButton>

#include <algorithm>

namespace app {
namespace fs = std::filesystem;

Exports::Exports(QWidget& window, Console& console, Settings& settings, NoticeBar& notices,
                 const Actions& actions)
    : m_window(window),
      m_console(console),
      m_notices(notices),
      m_videoAction(actions.exportVideo),
      m_dialogs(window, settings),
      m_progressRow(new QWidget),
      m_progress(new QProgressBar) {
    buildProgressRow();
    connect(actions.exportPicture, &QAction::triggered, this, &Exports::exportPicture);
    connect(actions.exportSong, &QAction::triggered, this, &Exports::exportSong);
    connect(actions.exportVideo, &QAction::triggered, this, &Exports::exportVideo);
}

void Exports::buildProgressRow() {
    m_progress->setAccessibleName(tr("Progress of the export"));
    auto* cancel = new QToolButton;
    cancel->setText(tr("Cancel"));
    cancel->setFocusPolicy(Qt::StrongFocus);
    auto* row = new QHBoxLayout(m_progressRow);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(m_progress, 1);
    row->addWidget(cancel);
    m_progressRow->hide();
    connect(cancel, &QToolButton::clicked, this, [this] {
        if (!m_tasks.empty())
            m_tasks.front()->cancel();
    });
}

// The picture is the one that was on the screen when the command came.
void Exports::exportPicture() {
    const auto picture = m_console.view().picture();
    const auto file =
        m_dialogs.askWhereToSave(tr("Export Picture"), m_console.engine().title() + ".png",
                                 tr("Pictures (*.png);;Unclamped pictures (*.exr)"));
    if (file)
        start(tr("Picture"), *file, makePicture(picture, *file));
}

// A song does not change once it is there, so that the next save cannot get into the file.
void Exports::exportSong() {
    auto& engine = m_console.engine();
    const auto song = engine.audioRenderer().audioBuffer();
    if (!engine.hasAudio() || !song)
        return m_notices.showError(tr("There is no song to export: no sfx() has run yet"));
    const auto file = m_dialogs.askWhereToSave(tr("Export Song"), engine.title() + ".m4a",
                                               tr("Songs (*.m4a);;Songs with every bit (*.wav)"));
    if (file)
        start(tr("Song"), *file, makeSong(song, *file));
}

void Exports::exportVideo() {
    auto& engine = m_console.engine();
    const auto settings = askForVideoSettings(m_window, engine.machine().audioSpec.duration());
    if (!settings)
        return;
    const auto file =
        m_dialogs.askWhereToSave(tr("Export Video"), engine.title() + ".mp4", tr("Videos (*.mp4)"));
    if (!file)
        return;
    m_videoAction->setEnabled(false);
    start(
        tr("Video"), *file,
        makeVideo({engine.title(), engine.source(), *settings, m_console.device()->state().choice},
                  *file));
    m_video = m_tasks.back().get();
}

void Exports::start(const QString& what, const fs::path& file, FileTask::Work work) {
    const auto progress = [this](FileTask& task, std::uint32_t done, std::uint32_t total) {
        if (&task == m_tasks.front().get())
            showProgress(task, done, total);
    };
    const auto end = [this](FileTask& task, const auto& result) { finished(task, result); };
    m_tasks.push_back(
        std::make_unique<FileTask>(what, file, std::move(work), FileTask::Client{progress, end}));
    showProgress(*m_tasks.front(), 0, 0);
}

/// With a total of 0 nobody knows yet how much there is to do.
void Exports::showProgress(const FileTask& task, std::uint32_t done, std::uint32_t total) {
    m_progress->setFormat(task.what() + ": %p %");
    m_progress->setRange(0, static_cast<int>(total));
    m_progress->setValue(static_cast<int>(done));
    m_progressRow->show();
}

void Exports::finished(FileTask& task, const platform::Result<void>& result) {
    if (result)
        showSaved(m_notices, task.file());
    else if (task.isCancelled())
        m_notices.showInformation(tr("The export was cancelled; no file was written"));
    else
        m_notices.showError(QString::fromStdString(result.error().message));
    if (&task == m_video)
        m_videoAction->setEnabled(true);
    const auto at = std::ranges::find(m_tasks, &task, &std::unique_ptr<FileTask>::get);
    at->release()->deleteLater(); // it is calling
    m_tasks.erase(at);
    if (m_tasks.empty())
        m_progressRow->hide();
    else
        showProgress(*m_tasks.front(), 0, 0);
}

void Exports::abandon() {
    m_tasks.clear();
    m_progressRow->hide();
    m_videoAction->setEnabled(true);
}

bool Exports::mayClose() {
    if (m_tasks.empty())
        return true;
    const QString name = QString::fromStdString(m_tasks.front()->file().filename().string());
    QMessageBox question(QMessageBox::Question, tr("Close"),
                         tr("%1 is still being exported.").arg(name), QMessageBox::NoButton,
                         &m_window);
    auto* cancel = question.addButton(tr("&Cancel the Export"), QMessageBox::DestructiveRole);
    auto* wait = question.addButton(tr("&Keep the Window"), QMessageBox::RejectRole);
    question.setDefaultButton(wait);
    question.exec();
    if (question.clickedButton() != cancel)
        return false;
    abandon();
    return true;
}

} // namespace app
