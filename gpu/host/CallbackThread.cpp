// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/CallbackThread.h"

namespace gpu::host {

using platform::Lock;

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
        const Lock lock(m_state->mutex);
        if (!m_state->finishing) {
            m_state->jobs.push(std::move(job));
            m_state->wake.notifyOne();
            return;
        }
    }
    complete(*job);
}

void CallbackThread::post(std::function<void()> task) {
    {
        const Lock lock(m_state->mutex);
        if (!m_state->finishing) {
            m_state->tasks.push(std::move(task));
            m_state->wake.notifyOne();
            return;
        }
    }
    task();
}

void CallbackThread::finish() {
    {
        const Lock lock(m_state->mutex);
        m_state->finishing = true;
    }
    m_state->wake.notifyOne();
    if (!m_thread.joinable())
        return;
    if (m_thread.get_id() == std::this_thread::get_id())
        m_thread.detach();
    else
        m_thread.join();
}

void CallbackThread::loop(State& state) {
    while (auto work = state.waitForWork()) {
        if (work->job)
            complete(*work->job);
        if (work->task)
            work->task();
    } // what they held may end here, without the lock
}

/// None when all is done.
std::optional<CallbackThread::Work> CallbackThread::State::waitForWork() {
    const Lock lock(mutex);
    while (!finishing && jobs.empty() && tasks.empty())
        wake.wait(mutex);
    if (jobs.empty() && tasks.empty())
        return std::nullopt;
    return Work{.job = jobs.empty() ? nullptr : jobs.pop(),
                .task = tasks.empty() ? nullptr : tasks.pop()};
}

} // namespace gpu::host
