// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The thread that completion handlers run on. It is not the one that watches the service, so that
// a slow handler delays neither time limits nor restarts.
#pragma once

#include "gpu/host/Job.h"
#include "platform/base/Fifo.h"
#include "platform/base/Mutex.h"

#include <functional>
#include <memory>
#include <optional>
#include <thread>

namespace gpu::host {

class CallbackThread {
public:
    CallbackThread();
    /// Runs what has been posted, then ends the thread; from that thread itself it does not wait.
    ~CallbackThread();
    CallbackThread(const CallbackThread&) = delete;
    CallbackThread& operator=(const CallbackThread&) = delete;

    /// The job is done, with the outcome that it holds. After finish() the calling thread says so
    /// itself.
    void post(std::shared_ptr<Job> job);
    /// Runs a task between the handlers of jobs.
    void post(std::function<void()> task);
    void finish();

private:
    /// A job, a task, or one of each.
    struct Work {
        std::shared_ptr<Job> job;
        std::function<void()> task;
    };
    struct State {
        std::optional<Work> waitForWork();

        platform::Mutex mutex;
        platform::Condition wake;
        platform::Fifo<std::shared_ptr<Job>> jobs SL42_GUARDED_BY(mutex);
        platform::Fifo<std::function<void()>> tasks SL42_GUARDED_BY(mutex);
        bool finishing SL42_GUARDED_BY(mutex) = false;
    };
    static void loop(State& state);

    std::shared_ptr<State> m_state;
    std::thread m_thread;
};

} // namespace gpu::host
