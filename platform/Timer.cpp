// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/Timer.h"

#include <algorithm>
#include <utility>

namespace platform {

using SteadyClock = std::chrono::steady_clock;

Timer::Timer(MainQueue& queue, std::chrono::nanoseconds interval, Tick tick)
    : m_state(std::make_shared<State>(State{.queue = queue,
                                            .interval = interval,
                                            .tick = std::move(tick),
                                            .due = SteadyClock::now() + interval})) {
    await(m_state);
}

void Timer::await(const std::shared_ptr<State>& state) {
    state->queue.asyncAfter(state->due - SteadyClock::now(), [weak = std::weak_ptr(state)] {
        const auto timer = weak.lock();
        if (!timer)
            return;
        timer->finished = !timer->tick();
        timer->due = std::max(timer->due + timer->interval, SteadyClock::now());
        if (timer->finished)
            timer->tick = nullptr; // with all that it holds
        else
            await(timer);
    });
}

} // namespace platform
