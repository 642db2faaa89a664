// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/process/EndRequests.h"
#include "platform/process/Supervision.h"

#include "platform/base/Fatal.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

namespace platform {
namespace {

/// Tells on standard error what it finds, and dies of it.
int chronicle(Supervised& self) {
    std::fprintf(stderr, "[%d %s %s]", self.recentDeaths(), self.reason().c_str(),
                 self.inheritance().c_str());
    self.bequeath(self.inheritance() + std::to_string(self.recentDeaths()));
    self.bequeath(std::string(1 << 20, 'x')); // too long: what was left before stays
    self.hasStarted();
    if (self.recentDeaths() == 1)
        fatalError("No more");
    ::raise(SIGKILL);
    return 0;
}

} // namespace

TEST(SupervisionDeathTest, StartsAgainThreeTimesWithWhatWasLeft) {
    EXPECT_EXIT(::_exit(supervise(chronicle)), testing::ExitedWithCode(128 + SIGKILL),
                "\\[0  \\](.|\n)*\\[1 Killed 0\\](.|\n)*\\[2 No more 01\\](.|\n)*"
                "\\[3 Killed 012\\]");
}

TEST(SupervisionDeathTest, EndsAsTheWorkEnds) {
    const auto status = [](Supervised&) { return 7; };
    EXPECT_EXIT(::_exit(supervise(status)), testing::ExitedWithCode(7), "");
    const auto neverStarted = [](Supervised& self) {
        std::fprintf(stderr, "<%d>", self.recentDeaths());
        return ::raise(SIGKILL);
    };
    EXPECT_EXIT(::_exit(supervise(neverStarted)), testing::ExitedWithCode(128 + SIGKILL),
                "^<0>[^<]*$");
}

TEST(SupervisionDeathTest, RequestsToEndReachBoth) {
    const auto interrupted = [](Supervised& self) {
        self.hasStarted();
        ::kill(::getppid(), SIGTERM);
        while (true)
            ::pause();
        return 0;
    };
    EXPECT_EXIT(::_exit(supervise(interrupted)), testing::KilledBySignal(SIGTERM), "");
    const auto toldItself = [](Supervised& self) {
        self.hasStarted();
        return ::raise(SIGINT);
    };
    EXPECT_EXIT(::_exit(supervise(toldItself)), testing::KilledBySignal(SIGINT), "");
}

TEST(SupervisionDeathTest, WhatIsHalfDoneIsClearedAwayFirst) {
    const auto tidies = [](Supervised& self) {
        self.hasStarted();
        EndRequests requests;
        ::raise(SIGINT); // a terminal tells both
        ::kill(::getppid(), SIGINT);
        pollfd event{requests.descriptor(), POLLIN, 0};
        while (::poll(&event, 1, -1) < 0) {
        }
        std::fprintf(stderr, "<tidied>");
        requests.obey();
        return 0;
    };
    EXPECT_EXIT(::_exit(supervise(tidies)), testing::KilledBySignal(SIGINT), "^<tidied>$");
    const auto hangs = [](Supervised& self) {
        self.hasStarted();
        const EndRequests requests(std::chrono::seconds(1));
        ::kill(::getppid(), SIGTERM);
        while (true)
            ::pause();
        return 0;
    };
    EXPECT_EXIT(::_exit(supervise(hangs)), testing::KilledBySignal(SIGTERM), "");
}

} // namespace platform
