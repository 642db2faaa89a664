// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The desktop is asked to stay awake by the service that it has, is told when that is over, and is
// never waited for.
#include "platform/desktop/StayAwake.h"
#include "tests/platform/desktop/TestDesktop.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace platform::tests {
namespace {

using Record = TestDesktop::Record;
using std::chrono::milliseconds;

StayAwake::Settings settings(milliseconds patience = milliseconds(5000)) {
    return {.program = "Console", .reason = "a show", .patience = patience};
}

} // namespace

TEST(StayAwake, AsksThePortalAndTakesItBack) {
    TestDesktop desktop({});
    StayAwake awake(settings());
    awake.set(false);
    awake.set(true);
    awake.set(true);
    ASSERT_TRUE(desktop.comesTo([](const Record& asked) { return asked.portalCalls == 1; }));
    EXPECT_EQ(desktop.record().portalReason, "a show");
    EXPECT_EQ(desktop.record().portalFlags, 12U) << "neither sleep nor a blank screen";
    std::this_thread::sleep_for(milliseconds(50)); // in which the answer arrives
    awake.set(false);
    EXPECT_TRUE(desktop.comesTo(
        [](const Record& asked) { return asked.closedRequests == 1 && asked.callerHasLeft; }));
    EXPECT_EQ(desktop.record().screenSaverCalls, 0U);
    awake.set(true);
    EXPECT_TRUE(desktop.comesTo([](const Record& asked) { return asked.portalCalls == 2; }));
}

TEST(StayAwake, AsksTheScreenSaverWhereThePortalCannot) {
    const std::pair<const char*, TestDesktop::Behaviour> rows[] = {
        {"no portal", {.hasPortal = false}},
        {"a portal without it", {.portalRefuses = true}},
        {"a portal that hangs", {.portalAnswers = false}}};
    for (const auto& [label, behaviour] : rows) {
        SCOPED_TRACE(label);
        TestDesktop desktop(behaviour);
        {
            StayAwake awake(settings(milliseconds(100)));
            awake.set(true);
            ASSERT_TRUE(
                desktop.comesTo([](const Record& asked) { return asked.screenSaverCalls == 1; }));
            EXPECT_EQ(desktop.record().screenSaverWords, "Console: a show");
            std::this_thread::sleep_for(milliseconds(50));
        }
        EXPECT_TRUE(desktop.comesTo([](const Record& asked) {
            return asked.returnedCookie == TestDesktop::cookie && asked.callerHasLeft;
        }));
    }
}

TEST(StayAwake, NobodyWaits) {
    const auto takesNoTime = [] {
        const auto start = std::chrono::steady_clock::now();
        {
            StayAwake awake(settings());
            awake.set(true);
            std::this_thread::sleep_for(milliseconds(20));
            awake.set(false);
            awake.set(true);
        }
        return std::chrono::steady_clock::now() - start < milliseconds(1000);
    };
    {
        const TestDesktop hanging({.hasScreenSaver = false, .portalAnswers = false});
        EXPECT_TRUE(takesNoTime()) << "a portal that hangs";
    }
    EXPECT_TRUE(takesNoTime()) << "a bus that has gone";
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "nonsense", 1);
    EXPECT_TRUE(takesNoTime()) << "no bus";
}

} // namespace platform::tests
