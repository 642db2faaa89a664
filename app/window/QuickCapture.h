// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One key saves what is on the stage: the picture, what follows, or what has just been. Names and
// folders are not asked for.
#pragma once

#include "SL42/recording/ShowRecorder.h"
#include "app/common/Actions.h"
#include "app/common/Settings.h"
#include "app/console/Console.h"
#include "app/stage/NoticeBar.h"
#include "app/window/FileTask.h"

#include <QLabel>
#include <QObject>
#include <QTimer>

#include <memory>
#include <string>
#include <vector>

namespace app {

/// All that it is made with must outlive it. Files that are being made are completed before it
/// goes.
class QuickCapture final : public QObject {
public:
    struct Parts {
        Console& console;
        Settings& settings;
        NoticeBar& notices;
    };
    QuickCapture(const Parts& parts, const Actions& actions);
    ~QuickCapture() override;

    /// A red mark that shows while the show is being recorded. The caller gives it a parent, which
    /// the audience does not see.
    QLabel* makeMark();

private:
    void savePicture();
    void pictureSaved(FileTask& task, const platform::Result<void>& result);
    void record(bool on);
    void keep(bool on);
    void saveLast();
    /// Has a recorder as long as there is something to record.
    void needRecorder();
    void dropRecorder();
    void dropUnneededRecorder();
    void finished(const std::string& path, const platform::Result<void>& result);
    void showMarks();

    Parts m_parts;
    QAction* m_record;
    QAction* m_keep;
    QTimer m_timer; ///< tells the recorder how late it is
    std::vector<QLabel*> m_marks;
    std::string m_file; ///< of the show as it goes on, until it is complete; empty for none
    int m_saves = 0;    ///< of the last seconds that are under way
    std::vector<std::unique_ptr<FileTask>> m_pictures;
    std::unique_ptr<starloom::ShowRecorder> m_recorder; // last: it calls the others
};

} // namespace app
