// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pictures, songs and videos of the running program as files.
#pragma once

#include "app/common/Actions.h"
#include "app/console/Console.h"
#include "app/stage/NoticeBar.h"
#include "app/window/FileDialogs.h"
#include "app/window/VideoTask.h"

#include <QObject>
#include <QProgressBar>
#include <QToolButton>

#include <memory>
#include <string>
#include <thread>

namespace app {

/// All that it is made with must outlive it.
class Exports final : public QObject {
public:
    Exports(QWidget& window, Console& console, Settings& settings, NoticeBar& notices,
            const Actions& actions);

    /// Progress of a video and the button to cancel it; hidden while there is none. The caller
    /// gives it a parent.
    QWidget* progressRow() { return m_progressRow; }

private:
    void exportPicture();
    void report(const platform::Result<void>& result, const std::string& path);
    void exportSong();
    void exportVideo();
    void videoFinished(const platform::Result<void>& result, const std::string& path);

    QWidget& m_window;
    Console& m_console;
    NoticeBar& m_notices;
    QAction* m_videoAction;
    FileDialogs m_dialogs;
    QWidget* m_progressRow;
    QProgressBar* m_progress;
    QToolButton* m_cancel;
    std::unique_ptr<VideoTask> m_video;
    std::jthread m_pictureWriter; // last: its end is awaited first
};

} // namespace app
