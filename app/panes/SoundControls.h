// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Volume and sound input.
#pragma once

#include "app/window/Actions.h"
#include "app/window/Settings.h"

#include <QSlider>
#include <QWidget>

#include <functional>

namespace app {

/// All that it refers to must outlive it.
class SoundControls final : public QWidget {
public:
    /// `setVolume` gets the output's volume from 0 to 1, 0 also while muted.
    SoundControls(const Actions& actions, Settings& settings, std::function<void(float)> setVolume);

private:
    void applyVolume();
    void changeVolume(int step);

    Settings& m_settings;
    const std::function<void(float)> m_setVolume;
    QSlider* m_volume;
    QAction* m_mute;
};

} // namespace app
