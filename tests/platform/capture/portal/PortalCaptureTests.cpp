// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What passes between a capture and the portal.
#include "platform/capture/portal/PortalCapture.h"

#include "tests/ScratchFolder.h"
#include "tests/platform/capture/portal/PortalDesktop.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>

namespace platform::tests {
namespace {

using Kind = CaptureEvent::Kind;
using std::chrono::milliseconds;

class PortalCapture : public PortalTest {
protected:
    void SetUp() override {
        PortalTest::SetUp();
        if (!IsSkipped())
            desktop = std::make_unique<PortalDesktop>();
    }
    TestPortal& portal() { return *desktop->portal; }
    WindowCapture& capture() { return desktop->capture(); }
    std::filesystem::path tokenFile() const {
        return desktop->stateFolder() / "window-capture-token";
    }
    std::string keptToken() const { return ::tests::contentsOf(tokenFile()); }
    void keepToken(const std::string& token) {
        std::filesystem::create_directories(desktop->stateFolder());
        std::ofstream(tokenFile()) << token;
    }
    /// How a capture ends with a portal that behaves so.
    std::string endingWith(const std::function<void(TestPortal::Behaviour&)>& behaviour) {
        portal().behave(behaviour);
        told.start(capture());
        return told.ending();
    }
};

TEST_F(PortalCapture, AsksForAWindowOrMonitorWithoutThePointer) {
    EXPECT_TRUE(capture().desktopPicks());
    EXPECT_TRUE(capture().windows()->empty());
    portal().behave([](auto& behaviour) { behaviour.sourceTypes = 7; }); // one is of the future
    desktop->makeCapture();
    told.start(capture());
    ASSERT_TRUE(told.shows(0));
    const auto selection = portal().record().selection;
    EXPECT_EQ(selection.at("types"), "3");
    EXPECT_EQ(selection.at("cursor_mode"), "1");
    EXPECT_EQ(selection.at("persist_mode"), "2");
    EXPECT_EQ(selection.at("multiple"), "0");
    EXPECT_FALSE(told.events().front().description.empty());
    capture().stop();
    EXPECT_TRUE(portal().comesTo([](const auto& now) { return now.closedSessions == 1; }));
    EXPECT_EQ(told.events().size(), 1U) << "stop() is no event";
}

TEST_F(PortalCapture, KeepsThePermissionForTheNextTime) {
    for (const char* token : {"first", "second"}) {
        portal().behave([=](auto& behaviour) { behaviour.nextToken = token; });
        Recording one;
        one.start(capture());
        ASSERT_TRUE(one.hears(Kind::Started));
        capture().stop();
        EXPECT_EQ(keptToken(), token);
        struct stat status{};
        ASSERT_EQ(::stat(tokenFile().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600U);
    }
    portal().behave([](auto& behaviour) { behaviour.nextToken.clear(); });
    Recording third;
    third.start(capture());
    ASSERT_TRUE(third.shows(0));
    capture().stop();
    EXPECT_EQ(portal().record().tokens, (std::vector<std::string>{"", "first", "second"}));
    EXPECT_FALSE(std::filesystem::exists(tokenFile())) << "a token is good for one use";
}

TEST_F(PortalCapture, BrokenPermissionIsNone) {
    keepToken("a token\nwith\xff bytes");
    told.start(capture());
    ASSERT_TRUE(told.shows(0));
    EXPECT_EQ(portal().record().tokens, std::vector<std::string>{""});

    portal().behave([](auto& behaviour) { behaviour.rejectsTokens = true; });
    keepToken("one that the portal does not know");
    Recording second;
    second.start(capture());
    ASSERT_TRUE(second.shows(0));
    EXPECT_EQ(portal().record().tokens.back(), "");
    EXPECT_EQ(keptToken(), "token");

    std::filesystem::remove(tokenFile());
    std::filesystem::create_directories(tokenFile() / "inside");
    Recording third;
    third.start(capture());
    EXPECT_TRUE(third.shows(0));
    capture().stop();
}

TEST_F(PortalCapture, AnswerMayOvertakeTheReply) {
    portal().behave([](auto& behaviour) { behaviour.answersBeforeReply = true; });
    told.start(capture());
    EXPECT_TRUE(told.shows(0));
    capture().stop();
}

TEST_F(PortalCapture, RefusalEndsIt) {
    keepToken("used");
    EXPECT_EQ(endingWith([](auto& behaviour) { behaviour.startResponse = 1; }),
              "No window was chosen.");
    EXPECT_TRUE(portal().comesTo([](const auto& now) { return now.closedSessions == 1; }));
    EXPECT_EQ(keptToken(), "");
    portal().behave([](auto& behaviour) { behaviour.startResponse = 0; });
    Recording again;
    again.start(capture());
    EXPECT_TRUE(again.shows(0));
    capture().stop();
}

TEST_F(PortalCapture, FailuresEndItWithAReason) {
    using Behaviour = TestPortal::Behaviour;
    const std::pair<void (*)(Behaviour&), const char*> rows[] = {
        {[](Behaviour& one) { one.startResponse = 2; }, "The desktop could not share a window."},
        {[](Behaviour& one) { one.answersOddly = true; },
         "The desktop's portal answers in an unknown way."},
        {[](Behaviour& one) { one.hasRemote = false; },
         "The desktop's portal does not share windows: No PipeWire."},
        {[](Behaviour& one) { one.answersSelection = false; },
         "The desktop's portal does not answer."}};
    desktop->makeCapture(milliseconds(200));
    for (const auto& [change, ending] : rows) {
        Recording one;
        portal().behave([makesIt = change](Behaviour& behaviour) {
            behaviour = {.node = behaviour.node};
            makesIt(behaviour);
        });
        one.start(capture());
        EXPECT_EQ(one.ending(), ending);
        capture().stop();
    }
}

TEST_F(PortalCapture, StreamThatDoesNotExistEndsIt) {
    desktop->makeCapture(milliseconds(500));
    EXPECT_FALSE(
        endingWith([](auto& behaviour) { behaviour.node = [] { return 123'456U; }; }).empty());
}

TEST_F(PortalCapture, DesktopEndsTheSession) {
    told.start(capture());
    ASSERT_TRUE(told.shows(0));
    portal().closeSession();
    EXPECT_EQ(told.ending(), "The desktop has ended the capture.");
}

TEST_F(PortalCapture, PortalGoesAway) {
    portal().behave([](auto& behaviour) { behaviour.userTakesTime = true; });
    told.start(capture());
    ASSERT_TRUE(portal().comesTo([](const auto& now) { return now.starts == 1; }));
    desktop->portal.reset();
    EXPECT_EQ(told.ending(), "The desktop's portal has ended.");
}

TEST_F(PortalCapture, StopTakesTheDialogAway) {
    desktop->makeCapture(milliseconds(100));
    portal().behave([](auto& behaviour) { behaviour.userTakesTime = true; });
    told.start(capture());
    ASSERT_TRUE(portal().comesTo([](const auto& now) { return now.starts == 1; }));
    std::this_thread::sleep_for(milliseconds(300)); // longer than patience, which is not the user's
    EXPECT_TRUE(told.events().empty());
    const auto before = std::chrono::steady_clock::now();
    capture().stop();
    EXPECT_LT(std::chrono::steady_clock::now() - before, milliseconds(100));
    EXPECT_TRUE(portal().comesTo(
        [](const auto& now) { return now.closedRequests == 1 && now.closedSessions == 1; }));
    EXPECT_TRUE(told.events().empty());
}

TEST_F(PortalCapture, StopAtAnyMoment) {
    for (int i = 0; i < 40; ++i) {
        Recording some;
        some.start(capture());
        std::this_thread::sleep_for(std::chrono::microseconds(500 * i));
        capture().stop();
        for (const CaptureEvent& event : some.events())
            EXPECT_EQ(event.kind, Kind::Started) << event.description;
    }
    told.start(capture());
    EXPECT_TRUE(told.shows(0));
    capture().stop();
}

TEST_F(PortalCapture, DesktopWithoutThePortalSaysSo) {
    portal().behave([](auto& behaviour) { behaviour.sourceTypes = 0; });
    EXPECT_EQ(makePortalCapture(desktop->stateFolder()).error().message,
              "This desktop's portal has no windows to share.");
    desktop->portal.reset();
    EXPECT_EQ(makePortalCapture(desktop->stateFolder()).error().message,
              "This desktop has no portal that shares windows.");
    const std::string bus = ::getenv("DBUS_SESSION_BUS_ADDRESS");
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere", 1);
    const auto capture = makePortalCapture(desktop->stateFolder());
    ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.c_str(), 1);
    EXPECT_EQ(capture.error().message,
              "There is no session bus, by which a desktop shares windows.");
}

} // namespace
} // namespace platform::tests
