// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/portal/TestPortal.h"

#include "platform/base/Fatal.h"
#include "tests/platform/capture/portal/PrivateSession.h"

#include <chrono>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace platform::tests {
namespace {

constexpr const char* requestInterface = "org.freedesktop.portal.Request";
constexpr const char* sessionInterface = "org.freedesktop.portal.Session";

/// Nothing can be thrown through the library.
void check(int result, const char* failure) {
    if (result < 0)
        fatalError(std::string("The portal of the tests fails: ") + failure);
}

using Options = TestPortal::Options;

Options readOptions(sd_bus_message* call) {
    Options options;
    check(sd_bus_message_enter_container(call, 'a', "{sv}"), "no options");
    while (sd_bus_message_enter_container(call, 'e', "sv") > 0) {
        const char* name = nullptr;
        const char* type = nullptr;
        sd_bus_message_read(call, "s", &name);
        check(sd_bus_message_peek_type(call, nullptr, &type), "no value");
        if (std::string_view(type) == "s") {
            const char* text = "";
            sd_bus_message_read(call, "v", "s", &text);
            options[name] = text;
        } else {
            std::uint32_t number = 0;
            sd_bus_message_read(call, "v", type, &number);
            options[name] = std::to_string(number);
        }
        check(sd_bus_message_exit_container(call), "no options");
    }
    check(sd_bus_message_exit_container(call), "no options");
    return options;
}

/// As the portal makes the paths of its objects from names of the caller.
std::string objectPath(sd_bus_message* call, const char* kind, const std::string& token) {
    std::string sender(sd_bus_message_get_sender(call) + 1);
    for (char& c : sender)
        c = c == '.' ? '_' : c;
    return std::string(portalPath) + "/" + kind + "/" + sender + "/" + token;
}

void appendGrant(sd_bus_message* signal, const TestPortal::Behaviour& behaviour) {
    check(sd_bus_message_open_container(signal, 'a', "{sv}"), "no results");
    const std::uint32_t node = behaviour.node();
    if (behaviour.widthInPoints > 0)
        sd_bus_message_append(signal, "{sv}", "streams", "a(ua{sv})", 1, node, 2, "source_type",
                              "u", 2, "size", "(ii)", behaviour.widthInPoints, 100);
    else
        sd_bus_message_append(signal, "{sv}", "streams", "a(ua{sv})", 1, node, 1, "source_type",
                              "u", 2);
    if (!behaviour.nextToken.empty())
        sd_bus_message_append(signal, "{sv}", "restore_token", "s", behaviour.nextToken.c_str());
    check(sd_bus_message_close_container(signal), "no results");
}

/// How a request went.
struct Answer {
    std::string request;
    std::uint32_t code = 0;
    bool comes = true;
    bool overtakes = false; ///< the method's reply
    std::function<void(sd_bus_message*)> fill = [](sd_bus_message* signal) {
        sd_bus_message_append(signal, "a{sv}", 0);
    };
};

void emit(sd_bus* bus, const Answer& answer) {
    sd_bus_message* message = nullptr;
    check(sd_bus_message_new_signal(bus, &message, answer.request.c_str(), requestInterface,
                                    "Response"),
          "no signal");
    const MessagePtr signal(message);
    sd_bus_message_append(message, "u", answer.code);
    answer.fill(message);
    check(sd_bus_send(bus, message, nullptr), "no signal");
}

int reply(sd_bus_message* call, const Answer& answer) {
    sd_bus* bus = sd_bus_message_get_bus(call);
    if (answer.comes && answer.overtakes)
        emit(bus, answer);
    const int result = sd_bus_reply_method_return(call, "o", answer.request.c_str());
    if (answer.comes && !answer.overtakes)
        emit(bus, answer);
    return result;
}

} // namespace

TestPortal::TestPortal(Behaviour behaviour) : m_behaviour(std::move(behaviour)) {
    auto bus = openSessionBus();
    check(bus ? 0 : -1, "no session bus");
    m_bus = std::move(bus).value();
    const auto onMessage = [](sd_bus_message* call, void* data, sd_bus_error*) {
        return static_cast<TestPortal*>(data)->onCall(call);
    };
    check(sd_bus_add_fallback(m_bus.get(), nullptr, portalPath, onMessage, this), "no object");
    check(sd_bus_request_name(m_bus.get(), portalService, 0), "no name");
    m_thread = std::jthread([this](const std::stop_token& stop) { run(stop); });
}

void TestPortal::behave(const std::function<void(Behaviour&)>& change) {
    const std::lock_guard lock(m_mutex);
    change(m_behaviour);
}

TestPortal::Record TestPortal::record() {
    const std::lock_guard lock(m_mutex);
    return m_record;
}

bool TestPortal::comesTo(const std::function<bool(const Record&)>& condition) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(10), [&] { return condition(m_record); });
}

void TestPortal::closeSession() {
    const std::lock_guard lock(m_mutex);
    m_closesSession = true;
}

void TestPortal::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        while (sd_bus_process(m_bus.get(), nullptr) > 0) {
        }
        sd_bus_wait(m_bus.get(), 2'000); // microseconds, since closeSession() does not wake it
        const std::lock_guard lock(m_mutex);
        if (std::exchange(m_closesSession, false))
            sd_bus_emit_signal(m_bus.get(), m_session.c_str(), sessionInterface, "Closed", "");
    }
}

int TestPortal::onCall(sd_bus_message* call) {
    const std::lock_guard lock(m_mutex);
    m_changed.notify_all();
    const std::string_view method(sd_bus_message_get_member(call));
    const std::string_view interface(sd_bus_message_get_interface(call));
    if (method == "GetAll")
        return sd_bus_reply_method_return(call, "a{sv}", 4, "version", "u", 4,
                                          "AvailableSourceTypes", "u", m_behaviour.sourceTypes,
                                          "AvailableCursorModes", "u", 7, "Future", "as", 1, "x");
    if (method == "CreateSession") {
        Options options = readOptions(call);
        m_session = objectPath(call, "session", options["session_handle_token"]);
        return reply(call, {.request = objectPath(call, "request", options["handle_token"]),
                            .overtakes = m_behaviour.answersBeforeReply,
                            .fill = [this](sd_bus_message* signal) {
                                sd_bus_message_append(signal, "a{sv}", 1, "session_handle", "s",
                                                      m_session.c_str());
                            }});
    }
    if (method == "SelectSources")
        return onSelection(call);
    if (method == "Start")
        return onStart(call);
    if (method == "OpenPipeWireRemote") {
        if (!m_behaviour.hasRemote)
            return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FAILED, "No PipeWire");
        const auto pipeWire = connectTo(std::string(::getenv("XDG_RUNTIME_DIR")) + "/pipewire-0");
        check(pipeWire ? 0 : -1, "no PipeWire");
        return sd_bus_reply_method_return(call, "h", pipeWire.get());
    }
    if (method != "Close")
        return 0;
    ++(interface == sessionInterface ? m_record.closedSessions : m_record.closedRequests);
    return 1;
}

int TestPortal::onSelection(sd_bus_message* call) {
    check(sd_bus_message_skip(call, "o"), "no session");
    Options options = readOptions(call);
    m_record.selection = options;
    m_record.tokens.push_back(options["restore_token"]);
    if (m_behaviour.rejectsTokens && !options["restore_token"].empty())
        return sd_bus_reply_method_errorf(call, "org.freedesktop.portal.Error.InvalidArgument",
                                          "Restore token is not known");
    return reply(call, {.request = objectPath(call, "request", options["handle_token"]),
                        .comes = m_behaviour.answersSelection,
                        .overtakes = m_behaviour.answersBeforeReply});
}

int TestPortal::onStart(sd_bus_message* call) {
    check(sd_bus_message_skip(call, "os"), "no session");
    ++m_record.starts;
    Answer answer{.request = objectPath(call, "request", readOptions(call)["handle_token"]),
                  .code = m_behaviour.startResponse,
                  .comes = !m_behaviour.userTakesTime,
                  .overtakes = m_behaviour.answersBeforeReply};
    if (m_behaviour.answersOddly)
        answer.fill = [](sd_bus_message* signal) {
            sd_bus_message_append(signal, "a{sv}", 1, "streams", "a(us)", 1, 7, "seven");
        };
    else if (m_behaviour.startResponse == 0)
        answer.fill = [this](sd_bus_message* signal) { appendGrant(signal, m_behaviour); };
    return reply(call, answer);
}

} // namespace platform::tests
