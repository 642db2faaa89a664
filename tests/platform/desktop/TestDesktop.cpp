// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/desktop/TestDesktop.h"

#include "platform/base/Fatal.h"
#include "tests/platform/bus/PrivateBus.h"

#include <chrono>
#include <filesystem>
#include <string_view>

namespace platform::tests {
namespace {

constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* screenSaverPath = "/org/freedesktop/ScreenSaver";
constexpr const char* requestPath = "/org/freedesktop/portal/desktop/request/1/t";

/// Nothing can be thrown through the library.
void check(int result, const char* failure) {
    if (result < 0)
        fatalError(std::string("The desktop of the tests fails: ") + failure);
}

} // namespace

TestDesktop::TestDesktop(Behaviour behaviour)
    : m_daemon(startPrivateBus(m_folder.path(""))), m_behaviour(behaviour) {
    while (!std::filesystem::exists(m_folder.path("bus")))
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    m_bus = connectToSessionBus("desktop of the tests");
    check(m_bus ? 0 : -1, "no session bus");
    if (behaviour.hasPortal)
        add(portalPath, "org.freedesktop.portal.Desktop");
    if (behaviour.hasScreenSaver)
        add(screenSaverPath, "org.freedesktop.ScreenSaver");
    const auto onLeaving = [](sd_bus_message* signal, void* data, sd_bus_error*) {
        auto& desktop = *static_cast<TestDesktop*>(data);
        const char* names[3] = {};
        check(sd_bus_message_read(signal, "sss", &names[0], &names[1], &names[2]), "no names");
        const std::lock_guard lock(desktop.m_mutex);
        desktop.m_record.callerHasLeft |= std::string_view(names[2]).empty();
        desktop.m_changed.notify_all();
        return 0;
    };
    check(sd_bus_match_signal(m_bus.get(), nullptr, "org.freedesktop.DBus", nullptr,
                              "org.freedesktop.DBus", "NameOwnerChanged", onLeaving, this),
          "no match");
    m_thread = std::thread([this] {
        while (!m_ends) {
            while (sd_bus_process(m_bus.get(), nullptr) > 0) {
            }
            sd_bus_wait(m_bus.get(), microseconds(std::chrono::milliseconds(20)));
        }
    });
}

TestDesktop::~TestDesktop() {
    m_ends = true;
    m_thread.join();
}

void TestDesktop::add(const char* path, const char* name) {
    const auto onMessage = [](sd_bus_message* call, void* data, sd_bus_error*) {
        return static_cast<TestDesktop*>(data)->onCall(call);
    };
    check(sd_bus_add_fallback(m_bus.get(), nullptr, path, onMessage, this), "no object");
    check(sd_bus_request_name(m_bus.get(), name, 0), "no name");
}

TestDesktop::Record TestDesktop::record() {
    const std::lock_guard lock(m_mutex);
    return m_record;
}

bool TestDesktop::comesTo(const std::function<bool(const Record&)>& condition) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(10), [&] { return condition(m_record); });
}

int TestDesktop::onCall(sd_bus_message* call) {
    const std::lock_guard lock(m_mutex);
    m_changed.notify_all();
    if (sd_bus_message_is_method_call(call, "org.freedesktop.portal.Request", "Close") > 0) {
        m_record.closedRequests += std::string_view(sd_bus_message_get_path(call)) == requestPath;
        return 1;
    }
    return std::string_view(sd_bus_message_get_path(call)) == portalPath ? onPortal(call)
                                                                         : onScreenSaver(call);
}

int TestDesktop::onPortal(sd_bus_message* call) {
    if (sd_bus_message_is_method_call(call, "org.freedesktop.portal.Inhibit", "Inhibit") <= 0)
        return 0;
    ++m_record.portalCalls;
    const char* window = nullptr;
    const char* key = nullptr;
    const char* reason = nullptr;
    check(sd_bus_message_read(call, "su", &window, &m_record.portalFlags), "no flags");
    check(sd_bus_message_read(call, "a{sv}", 1, &key, "s", &reason), "no reason");
    m_record.portalReason = reason;
    if (m_behaviour.portalRefuses)
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_INTERFACE, "No Inhibit");
    return m_behaviour.portalAnswers ? sd_bus_reply_method_return(call, "o", requestPath) : 1;
}

int TestDesktop::onScreenSaver(sd_bus_message* call) {
    if (sd_bus_message_is_method_call(call, nullptr, "UnInhibit") > 0) {
        check(sd_bus_message_read(call, "u", &m_record.returnedCookie), "no cookie");
        return sd_bus_reply_method_return(call, "");
    }
    if (sd_bus_message_is_method_call(call, nullptr, "Inhibit") <= 0)
        return 0;
    ++m_record.screenSaverCalls;
    const char* program = nullptr;
    const char* reason = nullptr;
    check(sd_bus_message_read(call, "ss", &program, &reason), "no words");
    m_record.screenSaverWords = std::string(program) + ": " + reason;
    return sd_bus_reply_method_return(call, "u", cookie);
}

} // namespace platform::tests
