// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/SoundControls.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace app {

using starloom::AudioDevice;

static constexpr int volumeStep = 5;

/// A switch, and beside it what takes the rest of the width.
static QWidget* makeRow(QWidget* toggle, QWidget* wide) {
    auto* widget = new QWidget;
    auto* row = new QHBoxLayout(widget);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(toggle);
    row->addWidget(wide, 1);
    return widget;
}

SoundControls::SoundControls(const Actions& actions, Settings& settings,
                             platform::AudioEngine& output, starloom::AudioMonitor& input)
    : m_settings(settings),
      m_output(output),
      m_input(input),
      m_volume(new QSlider(Qt::Horizontal)),
      m_mute(actions.mute),
      m_devices(new QComboBox) {
    auto* rows = new QVBoxLayout(this);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->addWidget(makeOutputRow());
    rows->addWidget(makeInputRow());
    connect(actions.louder, &QAction::triggered, this, [this] { changeVolume(volumeStep); });
    connect(actions.softer, &QAction::triggered, this, [this] { changeVolume(-volumeStep); });
    applyVolume();
}

QWidget* SoundControls::makeOutputRow() {
    m_volume->setRange(0, 100);
    m_volume->setPageStep(volumeStep);
    m_volume->setValue(std::clamp(m_settings.volume.get(), 0, 100));
    m_volume->setAccessibleName(tr("Volume"));
    m_mute->setChecked(m_settings.muted.get());
    auto* muteButton = new QToolButton;
    muteButton->setDefaultAction(m_mute);
    muteButton->setFocusPolicy(Qt::StrongFocus);
    connect(m_volume, &QSlider::valueChanged, this, &SoundControls::applyVolume);
    connect(m_mute, &QAction::toggled, this, &SoundControls::applyVolume);

    return makeRow(muteButton, m_volume);
}

QWidget* SoundControls::makeInputRow() {
    auto* active = new QCheckBox(tr("Input"));
    m_devices->setAccessibleName(tr("Input device"));
    m_devices->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    if (!m_settings.inputActive.get())
        m_input.setIsActive(false);
    active->setChecked(m_input.isActive().get());
    listDevices();
    m_observation = m_input.audioDevices().observe([this](const auto&) { listDevices(); });

    connect(m_devices, &QComboBox::activated, this, [this](int index) {
        m_settings.inputDevice.set(
            QString::fromStdString(m_input.audioDevices().get().at(index).name));
        m_input.selectAudioDevice(static_cast<std::size_t>(index));
    });
    connect(active, &QCheckBox::toggled, this, [this](bool on) {
        m_input.setIsActive(on);
        m_settings.inputActive.set(on);
    });
    return makeRow(active, m_devices);
}

// Devices are remembered by name: their order changes when one is plugged in. The remembered one is
// taken as soon as it is there.
void SoundControls::listDevices() {
    const auto& devices = m_input.audioDevices().get();
    const std::size_t selected = m_input.selectedAudioDevice().get();
    const auto remembered =
        std::ranges::find(devices, m_settings.inputDevice.get().toStdString(), &AudioDevice::name);
    if (remembered != devices.end() && remembered->index != selected)
        m_input.selectAudioDevice(remembered->index);

    m_devices->clear();
    for (const auto& device : m_input.audioDevices().get()) {
        const QString name = QString::fromStdString(device.name);
        m_devices->addItem(device.isPresent ? name : tr("%1 (not connected)").arg(name));
    }
    m_devices->setEnabled(m_devices->count() > 0);
    if (m_devices->count() == 0)
        m_devices->addItem(tr("No input device"));
    m_devices->setCurrentIndex(static_cast<int>(m_input.selectedAudioDevice().get()));
}

void SoundControls::changeVolume(int step) {
    m_volume->setValue(m_volume->value() + step);
}

// Half way is a quarter of the amplitude, about half as loud.
void SoundControls::applyVolume() {
    m_settings.volume.set(m_volume->value());
    m_settings.muted.set(m_mute->isChecked());
    const float volume = static_cast<float>(m_volume->value()) / 100;
    m_output.setOutputVolume(m_mute->isChecked() ? 0 : volume * volume);
}

} // namespace app
