// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/SoundControls.h"

#include <QHBoxLayout>
#include <QToolButton>

#include <algorithm>
#include <utility>

namespace app {

static constexpr int volumeStep = 5;

SoundControls::SoundControls(const Actions& actions, Settings& settings,
                             std::function<void(float)> setVolume)
    : m_settings(settings),
      m_setVolume(std::move(setVolume)),
      m_volume(new QSlider(Qt::Horizontal)),
      m_mute(actions.mute) {
    m_volume->setRange(0, 100);
    m_volume->setPageStep(volumeStep);
    m_volume->setValue(std::clamp(settings.volume.get(), 0, 100));
    m_volume->setAccessibleName(tr("Volume"));
    m_mute->setChecked(settings.muted.get());
    auto* muteButton = new QToolButton;
    muteButton->setDefaultAction(m_mute);
    muteButton->setToolTip(tr("Mute (Ctrl+M)"));

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(muteButton);
    row->addWidget(m_volume, 1);
    connect(m_volume, &QSlider::valueChanged, this, &SoundControls::applyVolume);
    connect(m_mute, &QAction::toggled, this, &SoundControls::applyVolume);
    connect(actions.louder, &QAction::triggered, this, [this] { changeVolume(volumeStep); });
    connect(actions.softer, &QAction::triggered, this, [this] { changeVolume(-volumeStep); });
    applyVolume();
}

void SoundControls::changeVolume(int step) {
    m_volume->setValue(m_volume->value() + step);
}

// Half way is a quarter of the amplitude, about half as loud.
void SoundControls::applyVolume() {
    m_settings.volume.set(m_volume->value());
    m_settings.muted.set(m_mute->isChecked());
    const float volume = static_cast<float>(m_volume->value()) / 100;
    m_setVolume(m_mute->isChecked() ? 0 : volume * volume);
}

} // namespace app
