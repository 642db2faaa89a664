// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A console that draws the frames of a performance.
#pragma once

#include "SL42/offline/OfflineConsole.h"
#include "SL42/performance/PerformanceFrame.h"
#include "gpu/Device.h"
#include "platform/base/Result.h"

#include <memory>
#include <optional>
#include <string>

namespace starloom {

/// One thread, which is the console's main thread.
class PerformanceReplay {
public:
    /// The first frame has a program. `listener` as in OfflineConsole.
    PerformanceReplay(std::shared_ptr<gpu::Device> device, std::string title,
                      platform::Log::Sink listener = {});

    /// Takes over the frame's program, if it has one, and draws it. The error is a program that
    /// would stop a console.
    platform::Result<void> draw(const PerformanceFrame& frame);
    /// What a program did wrong first, in one line.
    const std::optional<std::string>& fault() const { return m_fault; }
    /// After the first frame.
    OfflineConsole& console() { return *m_console; }

private:
    std::shared_ptr<gpu::Device> m_device;
    std::string m_title;
    platform::Log::Sink m_listener;
    std::unique_ptr<OfflineConsole> m_console;
    std::optional<std::string> m_fault;
};

} // namespace starloom
