// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A desktop's services that keep it awake, as far as a test wants it to have them, on a bus of its
// own.
#pragma once

#include "platform/bus/SessionBus.h"
#include "tests/Program.h"
#include "tests/ScratchFolder.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace platform::tests {

class TestDesktop {
public:
    struct Behaviour {
        bool hasPortal = true;
        bool hasScreenSaver = true;
        bool portalAnswers = true;
        bool portalRefuses = false;
    };
    /// What it was asked for.
    struct Record {
        std::string portalReason;
        unsigned portalFlags = 0;
        unsigned portalCalls = 0;
        unsigned closedRequests = 0;
        std::string screenSaverWords; ///< program and reason
        unsigned screenSaverCalls = 0;
        unsigned returnedCookie = 0;
        bool callerHasLeft = false; ///< the bus
    };

    explicit TestDesktop(Behaviour behaviour);
    /// Leaves the bus, which ends.
    ~TestDesktop();
    TestDesktop(const TestDesktop&) = delete;
    TestDesktop& operator=(const TestDesktop&) = delete;

    Record record();
    /// Whether what was asked for becomes so, soon.
    bool comesTo(const std::function<bool(const Record&)>& condition);

    static constexpr unsigned cookie = 4711;

private:
    int onCall(sd_bus_message* call);
    int onPortal(sd_bus_message* call);
    int onScreenSaver(sd_bus_message* call);
    void add(const char* path, const char* name);

    const ::tests::ScratchFolder m_folder;
    std::unique_ptr<::tests::Program> m_daemon;
    const Behaviour m_behaviour;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    Record m_record;
    std::atomic<bool> m_ends = false;
    BusPtr m_bus; ///< the thread's own once that runs
    std::thread m_thread;
};

} // namespace platform::tests
