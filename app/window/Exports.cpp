// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/Exports.h"

#include "app/window/VideoDialog.h"
#include "platform/image/Exr.h"
#include "platform/image/Png.h"

#include <QHBoxLayout>
#include <QTimer>

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
      m_progress(new QProgressBar),
      m_cancel(new QToolButton) {
    m_progress->setAccessibleName(tr("Progress of the video"));
    m_progress->setFormat(tr("Video: %p %"));
    m_cancel->setText(tr("Cancel"));
    m_cancel->setFocusPolicy(Qt::StrongFocus);
    auto* row = new QHBoxLayout(m_progressRow);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(m_progress, 1);
    row->addWidget(m_cancel);
    m_progressRow->hide();
    connect(m_cancel, &QToolButton::clicked, this, [this] {
        if (m_video)
            m_video->cancel();
    });
    connect(actions.exportPicture, &QAction::triggered, this, &Exports::exportPicture);
    connect(actions.exportSong, &QAction::triggered, this, &Exports::exportSong);
    connect(actions.exportVideo, &QAction::triggered, this, &Exports::exportVideo);
}

// The picture is the one that was on the screen when the command came.
void Exports::exportPicture() {
    const auto picture = m_console.view().picture();
    const auto chosen =
        m_dialogs.askWhereToSave(tr("Export Picture"), m_console.engine().title() + ".png",
                                 tr("Pictures (*.png);;Unclamped pictures (*.exr)"));
    if (!chosen)
        return;
    const auto write = chosen->extension() == ".exr" ? platform::writeExr : platform::writePng;
    // Compressing takes longer than a few frames.
    m_pictureWriter = std::jthread([this, picture, write, path = chosen->string()] {
        const auto written = write(picture, path);
        const auto tell = [this, written, path] { report(written, path); };
        QTimer::singleShot(0, this, tell);
    });
}

void Exports::report(const platform::Result<void>& result, const std::string& path) {
    if (result)
        m_notices.showInformation(tr("Saved %1").arg(QString::fromStdString(path)));
    else
        m_notices.showError(QString::fromStdString(result.error().message));
}

// What goes wrong is said on the console's log, and from there in a notice. A file that is in the
// way is kept, so the dialog does not ask whether to replace it.
void Exports::exportSong() {
    m_console.engine().audioRenderer().exportAAC([this](const std::string& name) {
        const auto chosen = m_dialogs.askWhereToSave(tr("Export Song"), name, tr("Songs (*.m4a)"),
                                                     FileDialogs::Existing::Keep);
        return chosen ? std::optional(chosen->string()) : std::nullopt;
    });
}

void Exports::exportVideo() {
    auto& engine = m_console.engine();
    const auto settings = askForVideoSettings(m_window, engine.machine().audioSpec.duration());
    if (!settings)
        return;
    const auto chosen =
        m_dialogs.askWhereToSave(tr("Export Video"), engine.title() + ".mp4", tr("Videos (*.mp4)"));
    if (!chosen)
        return;
    const std::string path = chosen->string();
    m_progress->setRange(0, 0); // until the first frame is done
    m_progressRow->show();
    m_videoAction->setEnabled(false);
    m_video = std::make_unique<VideoTask>(
        engine.title(), engine.source(), *settings, path,
        [this](int done, int total) {
            m_progress->setRange(0, total);
            m_progress->setValue(done);
        },
        [this, path](const platform::Result<void>& result) { videoFinished(result, path); });
}

void Exports::videoFinished(const platform::Result<void>& result, const std::string& path) {
    m_video.release()->deleteLater(); // it is calling
    m_progressRow->hide();
    m_videoAction->setEnabled(true);
    report(result, path);
}

} // namespace app
