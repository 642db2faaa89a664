// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/CallbackThread.h"

namespace gpu::host {

CallbackThread::CallbackThread()
    : m_state(std::make_shared<State>()), m_thread([state = m_state] { loop(*state); }) {}

CallbackThread::~CallbackThread() {
    finish();
}

void CallbackThread::post(std::function<void()> call) {
    {
        const std::scoped_lock lock(m_state->mutex);
        if (!m_state->finishing) {
            m_state->calls.push_back(std::move(call));
            m_state->wake.notify_one();
            return;
        }
    }
    call();
}

void CallbackThread::finish() {
    {
        const std::scoped_lock lock(m_state->mutex);
        m_state->finishing = true;
    }
    m_state->wake.notify_one();
    if (!m_thread.joinable())
        return;
    if (m_thread.get_id() == std::this_thread::get_id())
        m_thread.detach();
    else
        m_thread.join();
}

void CallbackThread::loop(State& state) {
    std::unique_lock lock(state.mutex);
    while (true) {
        state.wake.wait(lock, [&] { return state.finishing || !state.calls.empty(); });
        if (state.calls.empty())
            return;
        auto call = std::move(state.calls.front());
        state.calls.pop_front();
        lock.unlock();
        call();
        call = nullptr; // what it held may end here, without the lock
        lock.lock();
    }
}

} // namespace gpu::host
