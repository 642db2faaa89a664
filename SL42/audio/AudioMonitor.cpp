// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/audio/AudioMonitor.h"

#include "platform/base/Fatal.h"

#include <algorithm>
#include <span>
#include <utility>

namespace starloom {

AudioMonitor::AudioMonitor(platform::AudioCapture& capture, platform::MainQueue& mainQueue,
                           platform::Log& log)
    : m_capture(capture), m_mainQueue(mainQueue), m_log(log) {
    getAudioDevices();
    m_log.line("Configured audio session");
    if (!m_audioDeviceIDs.empty())
        announceSelection();
    startSession();
}

AudioMonitor::~AudioMonitor() {
    m_capture.stop();
}

void AudioMonitor::getAudioDevices() {
    std::vector<AudioDevice> devices;
    for (platform::AudioCaptureDevice& device : m_capture.devices()) {
        devices.push_back({.index = devices.size(), .name = std::move(device.name)});
        m_audioDeviceIDs.push_back(std::move(device.identifier));
    }
    m_audioDevices.set(std::move(devices));
}

void AudioMonitor::selectAudioDevice(std::size_t index) {
    if (index >= m_audioDeviceIDs.size())
        platform::fatalError("There is no audio device of that index");
    const auto devices = m_capture.devices();
    const auto isSelected = [&](const auto& device) {
        return device.identifier == m_audioDeviceIDs[index];
    };
    if (std::none_of(devices.begin(), devices.end(), isSelected))
        platform::fatalError("Tried to select invalid audio device");
    m_selectedAudioDevice.set(index);
    announceSelection();
    m_capture.stop();
    if (m_isActive.get())
        openSelectedDevice();
}

void AudioMonitor::setIsActive(bool active) {
    if (active == m_isActive.get())
        return;
    m_isActive.set(active);
    if (active)
        startSession();
    else {
        m_capture.stop();
        m_log.line("Stopped audio capture session");
    }
}

void AudioMonitor::announceSelection() {
    m_log.line("Selected new audio device: " +
               m_audioDevices.get()[m_selectedAudioDevice.get()].name);
}

void AudioMonitor::startSession() {
    openSelectedDevice();
    m_log.line("Started audio capture session");
}

static std::string lineFor(const platform::AudioCaptureEvent& event) {
    using Kind = platform::AudioCaptureEvent::Kind;
    switch (event.kind) {
    case Kind::Started:
        return "Capture session started running";
    case Kind::Error:
        return "Capture session runtime error: " + event.description;
    case Kind::Interrupted:
        return "Capture session interrupted: " + event.description;
    case Kind::Stopped:
        return "Capture session stopped: " + event.description;
    }
    return {};
}

void AudioMonitor::openSelectedDevice() {
    if (m_audioDeviceIDs.empty())
        return;
    const auto onBlock = [this](std::span<const float> samples) {
        {
            const FFTValues& values = m_fft.process(samples);
            const std::lock_guard lock(m_mutex);
            m_newest = values;
        }
        m_mainQueue.async([self = std::weak_ptr(m_self)] {
            if (const auto monitor = self.lock())
                (*monitor)->takeNewest();
        });
    };
    const auto onEvent = [&log = m_log](const auto& event) { log.line(lineFor(event)); };
    m_capture.start(m_audioDeviceIDs[m_selectedAudioDevice.get()], onBlock, onEvent);
}

void AudioMonitor::takeNewest() {
    const std::lock_guard lock(m_mutex);
    m_fftValues = m_newest;
}

} // namespace starloom
