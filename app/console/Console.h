// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console that this process shows, with all that it runs in.
#pragma once

#include "SL42/console/StarloomDocument.h"
#include "SL42/document/History.h"
#include "SL42/document/Journal.h"
#include "app/console/MainQueuePump.h"
#include "app/stage/PreviewWidget.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/MainQueue.h"
#include "platform/audio/SDLAudioCapture.h"
#include "platform/audio/SDLAudioEngine.h"

#include <QObject>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace app {

/// Main thread; the application must exist. The view belongs to the console and goes with it, so
/// the console goes before the window that shows the view.
class Console {
public:
    /// Compiles the program, for the device of this choice unless SL42_DEVICE names another one.
    Console(std::string title, const std::string& source, const std::string& device);

    starloom::SL42& engine() { return m_document.sl42(); }
    starloom::StarloomDocument& document() { return m_document; }
    starloom::Journal& journal() { return m_journal; }
    starloom::History& history() { return m_history; }
    PreviewWidget& view() { return *m_view; }
    platform::AudioEngine& audioEngine() { return m_audioEngine; }

    /// Gets the lines of the log that say what the console could not do for the user. Main thread.
    void onComplaint(std::function<void(const std::string&)> handler) {
        m_complain = std::move(handler);
    }
    const std::shared_ptr<gpu::Device>& device() const { return m_device; }

private:
    starloom::Surroundings surroundings();
    void print(std::string_view line);

    platform::MainQueue m_mainQueue;
    MainQueuePump m_pump{m_mainQueue};
    platform::SystemClock m_clock;
    std::function<void(const std::string&)> m_complain;
    platform::Log m_log{[this](std::string_view line) { print(line); }};
    platform::SDLAudioThread m_audioThread;
    platform::SDLAudioEngine m_audioEngine{m_audioThread, m_clock, m_log};
    platform::SDLAudioCapture m_audioCapture{m_audioThread};
    std::shared_ptr<gpu::Device> m_device;
    starloom::Journal m_journal;
    starloom::History m_history;
    PreviewWidget* m_view = nullptr; // the engine's
    QObject m_keyEvents;
    starloom::StarloomDocument m_document;
};

} // namespace app
