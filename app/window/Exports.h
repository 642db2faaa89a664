// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pictures, songs and videos of the running program as files whose names are asked for. What a file
// is made of is in MakeFiles.
#pragma once

#include "app/common/Actions.h"
#include "app/console/Console.h"
#include "app/stage/NoticeBar.h"
#include "app/window/FileDialogs.h"
#include "app/window/FileTask.h"

#include <QObject>
#include <QProgressBar>
#include <QToolButton>

#include <memory>
#include <vector>

namespace app {

/// All that it is made with must outlive it. A file that has the name already is asked about before
/// anything is done, and replaced once the new one is complete.
class Exports final : public QObject {
public:
    Exports(QWidget& window, Console& console, Settings& settings, NoticeBar& notices,
            const Actions& actions);

    /// Progress of the oldest export and the button to cancel it; hidden while there is none. The
    /// caller gives it a parent.
    QWidget* progressRow() { return m_progressRow; }

    /// Asks what to do about exports that are not done. True when there are none or they are not
    /// wanted any more.
    bool mayClose();
    /// Cancels them and waits until nothing is left of them.
    void abandon();

private:
    void buildProgressRow();
    void exportPicture();
    void exportSong();
    void exportVideo();
    void start(const QString& what, const std::filesystem::path& file, FileTask::Work work);
    void showProgress(const FileTask& task, std::uint32_t done, std::uint32_t total);
    void finished(FileTask& task, const platform::Result<void>& result);

    QWidget& m_window;
    Console& m_console;
    NoticeBar& m_notices;
    QAction* m_videoAction; ///< one at a time: each takes as much of the device as it gets
    FileDialogs m_dialogs;
    QWidget* m_progressRow;
    QProgressBar* m_progress;
    const FileTask* m_video = nullptr;              ///< the last one; it may have gone
    std::vector<std::unique_ptr<FileTask>> m_tasks; // last: they call the others
};

} // namespace app
