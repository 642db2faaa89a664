// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/Timer.h"

#include <cassert>
#include <utility>

namespace platform {

using SteadyClock = std::chrono::steady_clock;

Timer::Timer(MainQueue& queue, std::chrono::nanoseconds interval, Tick tick)
    : m_state(std::make_shared<State>(State{.queue = queue,
                                            .interval = interval,
                                            .tick = std::move(tick),
                                            .due = SteadyClock::now() + interval})) {
    assert(interval.count() > 0);
    await(m_state);
}

void Timer::await(const std::shared_ptr<State>& state) {
    state->queue.asyncAfter(state->due - SteadyClock::now(), [weak = std::weak_ptr(state)] {
        const auto timer = weak.lock();
        if (!timer)
            return;
        timer->finished = !timer->tick();
        while (timer->due <= SteadyClock::now())
            timer->due += timer->interval;
        if (timer->finished)
            timer->tick = nullptr; // with all that it holds
        else
            await(timer);
    });
}

} // namespace platform
