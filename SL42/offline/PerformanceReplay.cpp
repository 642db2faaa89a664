// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/PerformanceReplay.h"

#include "SL42/builder/Preprocessor.h"

#include <utility>

namespace starloom {

PerformanceReplay::PerformanceReplay(std::shared_ptr<gpu::Device> device, std::string title,
                                     platform::Log::Sink listener)
    : m_device(std::move(device)), m_title(std::move(title)), m_listener(std::move(listener)) {}

platform::Result<void> PerformanceReplay::draw(const PerformanceFrame& frame) {
    if (frame.program) {
        if (const auto bad = findBadMusic(*frame.program))
            return platform::Error{m_title + ":" + std::to_string(bad->line) + ": " + bad->reason};
        if (m_console)
            m_console->setSource(*frame.program);
        else
            m_console =
                std::make_unique<OfflineConsole>(m_device, m_title, *frame.program, m_listener);
    }
    if (frame.isReset)
        m_console->engine().reset();
    m_console->engine().setNextFrame(frame.state);
    const auto drawn = m_console->drawFrame(platform::Seconds(frame.clock));
    if (!drawn && !m_fault)
        m_fault = drawn.error().message;
    return {};
}

} // namespace starloom
