// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/console/Console.h"

#include "SL42/builder/Preprocessor.h"
#include "app/input/KeyboardSource.h"
#include "platform/capture/choice/MakeWindowCapture.h"

#include <utility>

namespace app {

/// What the engine may begin with: a text that would stop it is offered to it later.
static std::string harmless(const std::string& source) {
    return starloom::findBadMusic(source) ? std::string() : source;
}

Console::Console(std::string title, const std::string& source, const std::string& device)
    : m_device(gpu::Device::systemDefault(device)),
      m_journal(starloom::Journal::folderOfThisUser()),
      m_history(starloom::History::folderOfThisUser()),
      m_document(surroundings(), std::move(title), harmless(source)) {
    if (engine().source() != source)
        engine().offerSource(source);
    engine().keyboard().setSource(makeKeyboardSource(m_keyEvents, m_log));
}

// Any thread: the log calls it where a line is written.
void Console::print(std::string_view line) {
    platform::printToStandardOutput(line);
    for (const std::string_view complaint :
         {"Error writing: ", "Failed to write audio export file: ",
          "Failed to move exported file: ", "Attempted to export, but no audio available",
          "The journal is not kept: ", "The history is not kept: "})
        if (line.starts_with(complaint))
            m_mainQueue.async([this, text = std::string(line)] {
                if (m_complain)
                    m_complain(text);
            });
}

starloom::Surroundings Console::surroundings() {
    const auto makeView = [this](const std::shared_ptr<gpu::Device>& device) {
        auto view = std::make_unique<PreviewWidget>(device);
        m_view = view.get();
        return view;
    };
    return {.mainQueue = m_mainQueue,
            .clock = m_clock,
            .log = m_log,
            .audioEngine = m_audioEngine,
            .audioCapture = m_audioCapture,
            .device = m_device,
            .makeView = makeView,
            .keepers = {.journal = &m_journal, .history = &m_history},
            .makeCapture = [] {
                return platform::makeWindowCapture(
                    starloom::Journal::folderOfThisUser().parent_path() / "capture");
            }};
}

} // namespace app
