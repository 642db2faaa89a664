// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A console without a window, whose clock stands where it is told to.
#pragma once

#include "SL42/console/SL42.h"
#include "SL42/offline/OfflineInput.h"
#include "gpu/Device.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/MainQueue.h"
#include "platform/audio/SilentAudioEngine.h"
#include "platform/base/Result.h"
#include "platform/image/Image.h"
#include "preview/OffscreenPreview.h"

#include <memory>
#include <string>

namespace starloom {

/// A picture of the console's screen in the device's memory, which is not drawn over while somebody
/// holds it.
using ShownPicture = std::shared_ptr<const gpu::Texture>;

/// Compiles its program and renders its song when it is made. Each frame is done before the next
/// one is encoded, and waits for the kernels that it needs, so that registers take effect in the
/// same frame on every machine: the one after that in which they were written. The program must not
/// have a song that would stop the console. One thread, which is the console's main thread.
class OfflineConsole {
public:
    /// `listener` also gets each line that the console reports, on any thread, one at a time.
    OfflineConsole(std::shared_ptr<gpu::Device> device, const std::string& title,
                   const std::string& source, platform::Log::Sink listener = {});

    /// Compiles another program in its place and waits for the log.
    void setSource(std::string text);

    /// What comes in from outside from the next frame on, which is the first of the script.
    void setInput(InputFiles files);

    /// For what has no operation here: the song.
    SL42& engine() { return *m_engine; }

    /// The log of the last compilation.
    const std::string& compileLog() const { return m_engine->error().get(); }
    /// Whether that log speaks of a failure.
    bool hasError() const { return m_engine->hasError().get(); }
    /// Whether every stage that the program has got its kernel. Stricter than hasError().
    bool isComplete() const;
    /// Everything that the console has reported so far, a line each.
    const std::string& diagnostics() const { return m_diagnostics; }

    /// Runs the program for one frame at `time` and waits for it, the first time also for the font
    /// if the program may draw text. The error is the device's own line when it gave up on the
    /// frame.
    platform::Result<void> drawFrame(platform::Seconds time);
    /// What the last frame showed.
    platform::Result<platform::Image> picture() const;
    /// The same where it lies; null before the first. Besides the last one, three more may be held
    /// while a frame is drawn.
    const ShownPicture& shownPicture() const { return m_picture; }

private:
    void waitForProgram();
    void drainMainQueue();

    platform::MainQueue m_mainQueue;
    platform::ManualClock m_clock;
    std::string m_diagnostics;
    platform::Log::Sink m_listener;
    platform::Log m_log;
    platform::SilentAudioEngine m_audioEngine{m_clock};
    OfflineInput m_input;
    OffscreenPreview* m_view = nullptr; // the engine's
    ShownPicture m_picture;
    std::unique_ptr<SL42> m_engine;
};

} // namespace starloom
