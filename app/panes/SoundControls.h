// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Volume and sound input.
#pragma once

#include "SL42/audio/AudioMonitor.h"
#include "app/common/Actions.h"
#include "app/common/Settings.h"
#include "platform/audio/AudioEngine.h"

#include <QComboBox>
#include <QSlider>
#include <QWidget>

namespace app {

/// All that it refers to must outlive it.
class SoundControls final : public QWidget {
public:
    /// Applies what the settings remember.
    SoundControls(const Actions& actions, Settings& settings, platform::AudioEngine& output,
                  starloom::AudioMonitor& input);

private:
    QWidget* makeOutputRow();
    QWidget* makeInputRow();
    void listDevices();
    void applyVolume();
    void changeVolume(int step);

    Settings& m_settings;
    platform::AudioEngine& m_output;
    starloom::AudioMonitor& m_input;
    QSlider* m_volume;
    QAction* m_mute;
    QComboBox* m_devices;
    platform::Observation m_observation;
};

} // namespace app
