// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sound input: captures sound from a device of the user's choice and keeps its spectrum for
// programs.
#pragma once

#include "SL42/audio/FFT.h"
#include "SL42/hardware/FFTValues.h"
#include "platform/Log.h"
#include "platform/MainQueueAnchor.h"
#include "platform/Published.h"
#include "platform/audio/AudioCapture.h"
#include "platform/base/Mutex.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace starloom {

struct AudioDevice {
    std::size_t index; ///< into AudioMonitor::audioDevices()
    std::string name;
    /// The selected device stays on the list when it has gone.
    bool isPresent = true;

    bool operator==(const AudioDevice&) const = default;
};

/// Main thread; what it is made with must outlive it. Nothing here waits for a device. Blocks are
/// analysed on the capture's own thread, one after the other, and the spectra cross to the main
/// queue.
class AudioMonitor {
public:
    /// Captures from the first device, as soon as there is any.
    AudioMonitor(platform::AudioCapture& capture, platform::MainQueue& mainQueue,
                 platform::Log& log);
    ~AudioMonitor();
    AudioMonitor(const AudioMonitor&) = delete;
    AudioMonitor& operator=(const AudioMonitor&) = delete;

    /// The devices that can be captured from now, and the selected one. Follows what is plugged in
    /// and out, by way of the main queue.
    const platform::Published<std::vector<AudioDevice>>& audioDevices() const {
        return m_audioDevices;
    }
    /// An index into them, unless there are none. When both change, this one is set first.
    const platform::Published<std::size_t>& selectedAudioDevice() const {
        return m_selectedAudioDevice;
    }
    /// Captures from that device from now on: as soon as it is there, if it has gone, and again
    /// whenever it comes back. An index beyond the list is one line on the log.
    void selectAudioDevice(std::size_t index);

    const platform::Published<bool>& isActive() const { return m_isActive; }
    /// Starts or stops capturing. The spectra stay as they are when it stops.
    void setIsActive(bool active);

    /// The last analysis.
    const FFTValues& fftValues() const { return m_fftValues; }

private:
    void setupAudioEngine();
    void getAudioDevices();
    void updateDevices();
    void announceSelection();
    void startSession();
    void addInput();
    void captureOutput(std::span<const float> samples);

    platform::AudioCapture& m_captureSession;
    platform::Log& m_log;
    platform::Published<std::vector<AudioDevice>> m_audioDevices;
    /// The identifiers of m_audioDevices.
    std::vector<std::string> m_audioDeviceIDs;
    std::string m_selectedID; ///< empty until there was a device
    platform::Published<std::size_t> m_selectedAudioDevice;
    platform::Published<bool> m_isActive{true};
    FFTValues m_fftValues;
    FFT m_fft; ///< the capture thread's own
    platform::Mutex m_mutex;
    FFTValues m_newest SL42_GUARDED_BY(m_mutex); ///< on its way to the main queue
    platform::MainQueueAnchor m_anchor;
};

} // namespace starloom
