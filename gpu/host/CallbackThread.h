// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The thread that completion handlers run on. It is not the one that watches the service, so that
// a slow handler delays neither time limits nor restarts.
#pragma once

#include "gpu/host/Job.h"
#include "platform/base/Fifo.h"

#include <condition_variable>
#include <memory>
#include <mutex>
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
    struct State {
        std::mutex mutex;
        std::condition_variable wake;
        platform::Fifo<std::shared_ptr<Job>> jobs;
        platform::Fifo<std::function<void()>> tasks;
        bool finishing = false;
    };
    static void loop(State& state);

    std::shared_ptr<State> m_state;
    std::thread m_thread;
};

} // namespace gpu::host
