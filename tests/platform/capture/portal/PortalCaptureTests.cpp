// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What passes between a capture and the portal.
#include "platform/capture/portal/PortalCapture.h"

#include "tests/platform/capture/Recording.h"
#include "tests/platform/capture/portal/PortalDesktop.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace platform::tests {
namespace {

using Kind = CaptureEvent::Kind;
using std::chrono::milliseconds;

class PortalCapture : public testing::Test {
protected:
    void SetUp() override {
        std::string whyNot;
        m_desktop = PortalDesktop::create(whyNot);
        if (!m_desktop)
            GTEST_SKIP() << whyNot;
    }
    TestPortal& portal() { return *m_desktop->portal; }
    WindowCapture& capture() { return *m_desktop->capture; }
    std::filesystem::path tokenFile() const {
        return m_desktop->stateFolder() / "window-capture-token";
    }
    std::string keptToken() const {
        std::ifstream file(tokenFile());
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void keepToken(const std::string& token) {
        std::filesystem::create_directories(m_desktop->stateFolder());
        std::ofstream(tokenFile()) << token;
    }
    /// How a capture ends with a portal that behaves so.
    std::string endingWith(const std::function<void(TestPortal::Behaviour&)>& behaviour) {
        portal().behave(behaviour);
        told.start(capture());
        return told.ending();
    }

    Recording told; // outlives the capture

    std::unique_ptr<PortalDesktop> m_desktop;
};

TEST_F(PortalCapture, AsksForAWindowOrMonitorWithoutThePointer) {
    EXPECT_TRUE(capture().desktopPicks());
    EXPECT_TRUE(capture().windows()->empty());
    portal().behave([](auto& behaviour) { behaviour.sourceTypes = 7; }); // one is of the future
    m_desktop->capture = makePortalCapture(m_desktop->stateFolder()).value();
    told.start(capture());
    ASSERT_TRUE(told.shows(0));
    const auto record = portal().record();
    EXPECT_EQ(record.types, 3U);
    EXPECT_EQ(record.cursorMode, 1U);
    EXPECT_EQ(record.persistMode, 2U);
    EXPECT_FALSE(record.multiple);
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
    EXPECT_EQ(endingWith([](auto& behaviour) { behaviour.startResponse = 2; }),
              "The desktop could not share a window.");
}

TEST_F(PortalCapture, OddAnswerEndsIt) {
    EXPECT_EQ(endingWith([](auto& behaviour) { behaviour.answersOddly = true; }),
              "The desktop's portal answers in an unknown way.");
}

TEST_F(PortalCapture, NoConnectionToPipeWireEndsIt) {
    EXPECT_EQ(endingWith([](auto& behaviour) { behaviour.hasRemote = false; }),
              "The desktop's portal does not share windows: No PipeWire.");
}

TEST_F(PortalCapture, StreamThatDoesNotExistEndsIt) {
    m_desktop->capture = makePortalCapture(m_desktop->stateFolder(), milliseconds(500)).value();
    EXPECT_FALSE(
        endingWith([](auto& behaviour) { behaviour.node = [] { return 123'456U; }; }).empty());
}

TEST_F(PortalCapture, SilentPortalEndsIt) {
    m_desktop->capture = makePortalCapture(m_desktop->stateFolder(), milliseconds(200)).value();
    EXPECT_EQ(endingWith([](auto& behaviour) { behaviour.answersSelection = false; }),
              "The desktop's portal does not answer.");
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
    m_desktop->portal.reset();
    EXPECT_EQ(told.ending(), "The desktop's portal has ended.");
}

TEST_F(PortalCapture, StopTakesTheDialogAway) {
    m_desktop->capture = makePortalCapture(m_desktop->stateFolder(), milliseconds(100)).value();
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
    EXPECT_EQ(makePortalCapture(m_desktop->stateFolder()).error().message,
              "This desktop's portal has no windows to share.");
    m_desktop->portal.reset();
    EXPECT_EQ(makePortalCapture(m_desktop->stateFolder()).error().message,
              "This desktop has no portal that shares windows.");
    const std::string bus = ::getenv("DBUS_SESSION_BUS_ADDRESS");
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere", 1);
    const auto capture = makePortalCapture(m_desktop->stateFolder());
    ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.c_str(), 1);
    EXPECT_EQ(capture.error().message,
              "There is no session bus, by which a desktop shares windows.");
}

} // namespace
} // namespace platform::tests
