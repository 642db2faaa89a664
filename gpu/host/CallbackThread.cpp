// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/CallbackThread.h"

namespace gpu::host {

CallbackThread::CallbackThread()
    : m_state(std::make_shared<State>()), m_thread([state = m_state] { loop(*state); }) {}

CallbackThread::~CallbackThread() {
    finish();
}

static void complete(Job& job) {
    job.completed(std::move(job.outcome));
}

void CallbackThread::post(std::shared_ptr<Job> job) {
    {
        const std::scoped_lock lock(m_state->mutex);
        if (!m_state->finishing) {
            m_state->jobs.push(std::move(job));
            m_state->wake.notify_one();
            return;
        }
    }
    complete(*job);
}

void CallbackThread::post(std::function<void()> task) {
    {
        const std::scoped_lock lock(m_state->mutex);
        if (!m_state->finishing) {
            m_state->tasks.push(std::move(task));
            m_state->wake.notify_one();
            return;
        }
    }
    task();
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
        state.wake.wait(
            lock, [&] { return state.finishing || !state.jobs.empty() || !state.tasks.empty(); });
        if (state.jobs.empty() && state.tasks.empty())
            return;
        auto job = state.jobs.empty() ? nullptr : state.jobs.pop();
        auto task = state.tasks.empty() ? nullptr : state.tasks.pop();
        lock.unlock();
        if (job)
            complete(*job);
        if (task)
            task();
        job = nullptr; // what they held may end here, without the lock
        task = nullptr;
        lock.lock();
    }
}

} // namespace gpu::host
