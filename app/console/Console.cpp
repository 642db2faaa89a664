// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/console/Console.h"

#include "app/KeyboardSource.h"

#include <utility>

namespace app {

Console::Console(std::string title, std::string source)
    : m_device(gpu::Device::systemDefault()),
      m_journal(starloom::Journal::folderOfThisUser()),
      m_document(surroundings(), std::move(title), std::move(source)) {
    engine().keyboard().setSource(makeKeyboardSource(m_keyEvents, m_log));
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
            .journal = &m_journal};
}

} // namespace app
