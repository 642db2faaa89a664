// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the console is doing, in numbers.
#pragma once

#include "SL42/console/SL42.h"

#include <QLabel>
#include <QProgressBar>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <optional>

namespace app {

/// Looks at the console a few times a second. The console must outlive it.
class Readouts final : public QWidget {
public:
    Readouts(const starloom::SL42& console, std::function<QString()> device,
             std::function<int()> framesPerSecond);

    /// Looks now.
    void refresh();

private:
    void setUpSong();
    void showSong(std::optional<double> progress);
    QLabel* addRow(const QString& name);
    static QLabel* makeChip(const QString& function);
    static void setFound(QLabel& chip, bool found);

    const starloom::SL42& m_console;
    const std::function<QString()> m_device;
    const std::function<int()> m_framesPerSecond;
    QLabel* m_cpu;
    QLabel* m_video;
    QLabel* m_audio;
    QProgressBar* m_song;
    QLabel* m_time = nullptr;
    QLabel* m_sample = nullptr;
    QLabel* m_rate = nullptr;
    QLabel* m_deviceName = nullptr;
    QLabel* m_size = nullptr;
    QTimer m_timer;
};

} // namespace app
