// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/audio/AudioMonitor.h"

#include <algorithm>
#include <utility>

namespace starloom {

AudioMonitor::AudioMonitor(platform::AudioCapture& capture, platform::MainQueue& mainQueue,
                           platform::Log& log)
    : m_captureSession(capture), m_log(log), m_anchor(mainQueue) {
    setupAudioEngine();
    if (!m_selectedID.empty())
        announceSelection();
    startSession();
}

void AudioMonitor::setupAudioEngine() {
    m_captureSession.watchDevices([this] { m_anchor.async([this] { updateDevices(); }); });
    getAudioDevices();
    m_log.line("Configured audio session");
}

AudioMonitor::~AudioMonitor() {
    m_captureSession.watchDevices({});
    m_captureSession.stop();
}

// The order of the list changes with what is plugged in; the selection stays with its device.
void AudioMonitor::getAudioDevices() {
    std::vector<AudioDevice> devices;
    std::vector<std::string> identifiers;
    for (platform::AudioCaptureDevice& device : m_captureSession.devices()) {
        devices.push_back({.index = devices.size(), .name = std::move(device.name)});
        identifiers.push_back(std::move(device.identifier));
    }
    if (m_selectedID.empty() && !identifiers.empty())
        m_selectedID = identifiers.front();
    auto selected = std::ranges::find(identifiers, m_selectedID);
    if (selected == identifiers.end() && !m_selectedID.empty()) {
        const std::string& name = m_audioDevices.get()[m_selectedAudioDevice.get()].name;
        devices.push_back({.index = devices.size(), .name = name, .isPresent = false});
        selected = identifiers.insert(selected, m_selectedID);
    }
    const auto index = static_cast<std::size_t>(selected - identifiers.begin());
    if (identifiers == m_audioDeviceIDs && devices == m_audioDevices.get())
        return;
    m_audioDeviceIDs = std::move(identifiers);
    m_selectedAudioDevice.set(index);
    m_audioDevices.set(std::move(devices));
}

void AudioMonitor::updateDevices() {
    const bool hadNone = m_selectedID.empty();
    getAudioDevices();
    if (!hadNone || m_selectedID.empty())
        return;
    announceSelection();
    if (m_isActive.get())
        addInput();
}

void AudioMonitor::selectAudioDevice(std::size_t index) {
    if (index >= m_audioDeviceIDs.size()) {
        m_log.line("Tried to select invalid audio device");
        return;
    }
    m_selectedID = m_audioDeviceIDs[index];
    m_selectedAudioDevice.set(index);
    announceSelection();
    m_captureSession.stop();
    if (m_isActive.get())
        addInput();
    updateDevices(); // the former selection may have gone
}

void AudioMonitor::setIsActive(bool active) {
    if (active == m_isActive.get())
        return;
    m_isActive.set(active);
    if (active)
        startSession();
    else {
        m_captureSession.stop();
        m_log.line("Stopped audio capture session");
    }
}

void AudioMonitor::announceSelection() {
    m_log.line("Selected new audio device: " +
               m_audioDevices.get()[m_selectedAudioDevice.get()].name);
}

void AudioMonitor::startSession() {
    addInput();
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

void AudioMonitor::addInput() {
    if (m_selectedID.empty())
        return;
    const auto onBlock = [this](std::span<const float> samples) { captureOutput(samples); };
    const auto onEvent = [&log = m_log](const auto& event) { log.line(lineFor(event)); };
    m_captureSession.start(m_selectedID, onBlock, onEvent);
}

// On the capture's own thread.
void AudioMonitor::captureOutput(std::span<const float> samples) {
    {
        const FFTValues& values = m_fft.process(samples);
        const platform::Lock lock(m_mutex);
        m_newest = values;
    }
    m_anchor.async([this] {
        const platform::Lock lock(m_mutex);
        m_fftValues = m_newest;
    });
}

} // namespace starloom
