// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Recording a performance, from which its video can be made anew, every frame of it.
#pragma once

#include "SL42/console/PerformanceRecording.h"
#include "app/common/Actions.h"
#include "app/console/Console.h"
#include "app/stage/NoticeBar.h"

#include <QObject>

#include <filesystem>
#include <memory>

namespace app {

/// All that it is made with must outlive it. Its end is the end of the recording.
class PerformanceCommands final : public QObject {
public:
    PerformanceCommands(Console& console, NoticeBar& notices, const Actions& actions);
    ~PerformanceCommands() override;

private:
    void start();
    void stop();

    Console& m_console;
    NoticeBar& m_notices;
    QAction* m_record;
    std::filesystem::path m_file;
    std::unique_ptr<starloom::PerformanceRecording> m_recording;
};

} // namespace app
