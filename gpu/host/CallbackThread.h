// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The thread that completion handlers run on. It is not the one that watches the service, so that
// a slow handler delays neither time limits nor restarts.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
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

    /// After finish() the calling thread runs the call itself.
    void post(std::function<void()> call);
    void finish();

private:
    struct State {
        std::mutex mutex;
        std::condition_variable wake;
        std::deque<std::function<void()>> calls;
        bool finishing = false;
    };
    static void loop(State& state);

    std::shared_ptr<State> m_state;
    std::thread m_thread;
};

} // namespace gpu::host
