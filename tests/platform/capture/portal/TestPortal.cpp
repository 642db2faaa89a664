// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/portal/TestPortal.h"

#include "platform/base/Fatal.h"
#include "tests/platform/capture/portal/PrivateSession.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <array>
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

/// The options of a call by name; text and numbers of 32 bits are all that there are.
struct Options {
    std::string handleToken;
    std::string sessionToken;
    std::string restoreToken;
    std::uint32_t types = 0;
    std::uint32_t cursorMode = 0;
    std::uint32_t persistMode = 0;
    int multiple = 1;
};

Options readOptions(sd_bus_message* call) {
    Options options;
    check(sd_bus_message_enter_container(call, 'a', "{sv}"), "no options");
    const char* key = nullptr;
    while (sd_bus_message_enter_container(call, 'e', "sv") > 0) {
        sd_bus_message_read(call, "s", &key);
        const std::string_view name(key);
        const char* text = "";
        if (name == "types")
            sd_bus_message_read(call, "v", "u", &options.types);
        else if (name == "cursor_mode")
            sd_bus_message_read(call, "v", "u", &options.cursorMode);
        else if (name == "persist_mode")
            sd_bus_message_read(call, "v", "u", &options.persistMode);
        else if (name == "multiple")
            sd_bus_message_read(call, "v", "b", &options.multiple);
        else
            sd_bus_message_read(call, "v", "s", &text);
        if (name == "handle_token")
            options.handleToken = text;
        else if (name == "session_handle_token")
            options.sessionToken = text;
        else if (name == "restore_token")
            options.restoreToken = text;
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

TestPortal::TestPortal(Behaviour behaviour)
    : m_behaviour(std::move(behaviour)), m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    auto bus = openSessionBus();
    check(bus ? 0 : -1, "no session bus");
    m_bus = std::move(bus).value();
    const auto onMessage = [](sd_bus_message* call, void* data, sd_bus_error*) {
        return static_cast<TestPortal*>(data)->onCall(call);
    };
    check(sd_bus_add_fallback(m_bus.get(), nullptr, portalPath, onMessage, this), "no object");
    check(sd_bus_request_name(m_bus.get(), portalService, 0), "no name");
    m_thread = std::thread([this] { run(); });
}

TestPortal::~TestPortal() {
    {
        const std::lock_guard lock(m_mutex);
        m_ends = true;
    }
    wake();
    m_thread.join();
}

void TestPortal::wake() {
    ::eventfd_write(m_wake.get(), 1);
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
    {
        const std::lock_guard lock(m_mutex);
        m_closesSession = true;
    }
    wake();
}

void TestPortal::run() {
    for (;;) {
        while (sd_bus_process(m_bus.get(), nullptr) > 0) {
        }
        sd_bus_flush(m_bus.get());
        std::array<pollfd, 2> sources{pollfd{sd_bus_get_fd(m_bus.get()),
                                             static_cast<short>(sd_bus_get_events(m_bus.get())), 0},
                                      pollfd{m_wake.get(), POLLIN, 0}};
        ::poll(sources.data(), sources.size(), -1);
        eventfd_t count = 0;
        ::eventfd_read(m_wake.get(), &count);
        const std::lock_guard lock(m_mutex);
        if (m_ends)
            return;
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
        const Options options = readOptions(call);
        m_session = objectPath(call, "session", options.sessionToken);
        return reply(call, {.request = objectPath(call, "request", options.handleToken),
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
    const Options options = readOptions(call);
    m_record.types = options.types;
    m_record.cursorMode = options.cursorMode;
    m_record.persistMode = options.persistMode;
    m_record.multiple = options.multiple != 0;
    m_record.tokens.push_back(options.restoreToken);
    if (m_behaviour.rejectsTokens && !options.restoreToken.empty())
        return sd_bus_reply_method_errorf(call, "org.freedesktop.portal.Error.InvalidArgument",
                                          "Restore token is not known");
    return reply(call, {.request = objectPath(call, "request", options.handleToken),
                        .comes = m_behaviour.answersSelection,
                        .overtakes = m_behaviour.answersBeforeReply});
}

int TestPortal::onStart(sd_bus_message* call) {
    check(sd_bus_message_skip(call, "os"), "no session");
    ++m_record.starts;
    Answer answer{.request = objectPath(call, "request", readOptions(call).handleToken),
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
