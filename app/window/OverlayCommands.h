// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Code as part of the stage: a captured window or the program's text over the picture.
#pragma once

#include "SL42/capture/SourceOverlay.h"
#include "app/common/Actions.h"
#include "app/common/Settings.h"
#include "app/console/Console.h"
#include "app/stage/NoticeBar.h"

#include <QObject>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace app {

/// All that it is made with must outlive it.
class OverlayCommands final : public QObject {
public:
    struct Parts {
        Console& console;
        Settings& settings;
        NoticeBar& notices;
        std::function<void()> openPicker;
    };
    OverlayCommands(const Parts& parts, const Actions& actions);
    ~OverlayCommands() override;

    /// The text to show, and which of its lines is wrong.
    void setProgram(const std::string& source, std::optional<std::size_t> errorLine);

private:
    starloom::ScreenRecorder& recorder() { return m_parts.console.engine().screenCapture(); }
    void showOverlay(bool show);
    void showSource(bool show);
    void capture(bool start);
    bool startCapture();
    void pickWindow();
    void stopUnneededCapture();
    void record(bool start);
    void openRecordings();
    void captureChanged(bool isRunning);
    void drawSource();
    void refuse(QAction& action, const std::string& reason);

    Parts m_parts;
    QAction* m_overlay;
    QAction* m_source;
    QAction* m_capture;
    QAction* m_record;
    std::optional<starloom::SourceOverlay> m_sourceOverlay; ///< made when first needed
    std::string m_text;
    std::size_t m_focus = 1;
    std::optional<std::size_t> m_errorLine;
    std::vector<platform::Observation> m_observations;
};

} // namespace app
