// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A desktop portal whose answers a test chooses.
#pragma once

#include "platform/capture/portal/SessionBus.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace platform::tests {

class TestPortal {
public:
    /// Of a call, by name; numbers and truth values in digits.
    using Options = std::map<std::string, std::string>;

    struct Behaviour {
        std::uint32_t sourceTypes = 3;                 ///< monitors and windows
        std::function<std::uint32_t()> node = nullptr; ///< makes that of a stream to grant
        std::int32_t widthInPoints = 0;
        std::uint32_t startResponse = 0; ///< 1: the user refuses, 2: a failure
        std::string nextToken = "token"; ///< none when it is empty
        bool answersBeforeReply = false; ///< a Response that overtakes the method's reply
        bool rejectsTokens = false;      ///< with an error
        bool userTakesTime = false;      ///< Start is never answered
        bool answersSelection = true;
        bool answersOddly = false; ///< Start's answer is of another shape
        bool hasRemote = true;
    };
    /// What the portal was asked for.
    struct Record {
        Options selection;               ///< the last one's
        std::vector<std::string> tokens; ///< of each selection, empty for none
        unsigned starts = 0;
        unsigned closedRequests = 0;
        unsigned closedSessions = 0;
    };

    explicit TestPortal(Behaviour behaviour);
    TestPortal(const TestPortal&) = delete;
    TestPortal& operator=(const TestPortal&) = delete;

    void behave(const std::function<void(Behaviour&)>& change);
    Record record();
    /// Whether what was asked for becomes so, soon.
    bool comesTo(const std::function<bool(const Record&)>& condition);
    /// As the desktop does when the user ends the capture there.
    void closeSession();

private:
    void run(const std::stop_token& stop);
    int onCall(sd_bus_message* call);
    int onSelection(sd_bus_message* call);
    int onStart(sd_bus_message* call);

    std::mutex m_mutex; ///< for all of this
    std::condition_variable m_changed;
    Behaviour m_behaviour;
    Record m_record;
    std::string m_session; ///< path of the newest
    bool m_closesSession = false;
    BusPtr m_bus; ///< the thread's own once that runs
    std::jthread m_thread;
};

} // namespace platform::tests
