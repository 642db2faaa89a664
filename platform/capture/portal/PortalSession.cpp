// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/PortalSession.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

namespace platform {
namespace {

// Flags and numbers of the portal's interface.
constexpr std::uint32_t monitorSource = 1;
constexpr std::uint32_t windowSource = 2;
constexpr std::uint32_t hiddenCursor = 1;
constexpr std::uint32_t persistUntilRevoked = 2;
constexpr std::uint32_t versionWithCursorModes = 2;
constexpr std::uint32_t versionWithRestoring = 4;

constexpr const char* requestInterface = "org.freedesktop.portal.Request";
constexpr const char* sessionInterface = "org.freedesktop.portal.Session";

constexpr const char* noAnswer = "The desktop's portal does not answer.";

/// Tells when the portal's process ends, without whom nobody would answer any more.
constexpr const char* portalOwnerRule =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
    "interface='org.freedesktop.DBus',member='NameOwnerChanged',"
    "arg0='org.freedesktop.portal.Desktop'";

std::string refusal(const sd_bus_error& error) {
    if (sd_bus_error_has_name(&error, SD_BUS_ERROR_NO_REPLY) != 0 ||
        sd_bus_error_has_name(&error, SD_BUS_ERROR_TIMEOUT) != 0)
        return noAnswer;
    return std::string("The desktop's portal does not share windows: ") +
           (error.message != nullptr ? error.message : error.name) + ".";
}

} // namespace

Result<std::unique_ptr<PortalSession>> PortalSession::open(const PortalAbilities& abilities,
                                                           const RestoreToken& token,
                                                           std::chrono::milliseconds patience,
                                                           Handlers handlers) {
    BusPtr bus = SL42_TRY(openSessionBus());
    std::unique_ptr<PortalSession> session(
        new PortalSession(std::move(bus), abilities, token, patience, std::move(handlers)));
    if (!session->watchPortal())
        return Error{"The session bus, by which a desktop shares windows, cannot be used."};
    return session;
}

PortalSession::PortalSession(BusPtr bus, const PortalAbilities& abilities,
                             const RestoreToken& token, std::chrono::milliseconds patience,
                             Handlers handlers)
    : m_bus(std::move(bus)),
      m_abilities(abilities),
      m_token(token),
      m_patience(patience),
      m_handlers(std::move(handlers)),
      m_usedToken(abilities.version >= versionWithRestoring ? token.read() : std::string()) {
    begin(Step::Connecting);
}

PortalSession::~PortalSession() {
    if (!m_request.empty())
        closePortalObject(m_bus.get(), m_request, requestInterface);
    if (!m_session.empty())
        closePortalObject(m_bus.get(), m_session, sessionInterface);
    if (m_step != Step::Connecting)
        sd_bus_flush(m_bus.get());
}

bool PortalSession::watchPortal() {
    const auto onPortalSignal = [](sd_bus_message* signal, void* data, sd_bus_error*) {
        of(data).onResponse(signal);
        return 0;
    };
    const auto onClosed = [](sd_bus_message* signal, void* data, sd_bus_error*) {
        if (of(data).m_session == sd_bus_message_get_path(signal))
            of(data).end("The desktop has ended the capture.");
        return 0;
    };
    const auto onOwner = [](sd_bus_message* signal, void* data, sd_bus_error*) {
        const char* newOwner = nullptr;
        if (sd_bus_message_read(signal, "sss", nullptr, nullptr, &newOwner) > 0 &&
            std::string_view(newOwner).empty())
            of(data).end("The desktop's portal has ended.");
        return 0;
    };
    sd_bus* bus = m_bus.get();
    return sd_bus_match_signal_async(bus, nullptr, portalService, nullptr, requestInterface,
                                     "Response", onPortalSignal, nullptr, this) >= 0 &&
           sd_bus_match_signal_async(bus, nullptr, portalService, nullptr, sessionInterface,
                                     "Closed", onClosed, nullptr, this) >= 0 &&
           sd_bus_add_match_async(bus, nullptr, portalOwnerRule, onOwner, nullptr, this) >= 0;
}

void PortalSession::begin(Step step) {
    m_step = step;
    m_deadline.reset();
    if (step != Step::Starting && step != Step::Granted)
        m_deadline = Clock::now() + m_patience;
}

pollfd PortalSession::waitsFor() const {
    return {sd_bus_get_fd(m_bus.get()), static_cast<short>(sd_bus_get_events(m_bus.get())), 0};
}

std::optional<PortalSession::Clock::time_point> PortalSession::deadline() const {
    std::uint64_t timeout = 0; // on the steady clock
    if (sd_bus_get_timeout(m_bus.get(), &timeout) <= 0 || timeout == UINT64_MAX)
        return m_deadline;
    const Clock::time_point due{std::chrono::microseconds(timeout)};
    return m_deadline ? std::min(due, *m_deadline) : due;
}

void PortalSession::process() {
    int result = 0;
    do {
        result = sd_bus_process(m_bus.get(), nullptr);
    } while (result > 0);
    if (result < 0)
        return end("The connection to the session bus was lost.");
    if (m_step == Step::Connecting && sd_bus_is_ready(m_bus.get()) > 0)
        createSession();
    if (m_deadline && Clock::now() >= *m_deadline)
        end(noAnswer);
}

void PortalSession::createSession() {
    begin(Step::Creating);
    request("CreateSession", {{}, false, {{"session_handle_token", std::string("starloom42")}}});
}

void PortalSession::selectSources() {
    begin(Step::Selecting);
    PortalArguments arguments{m_session, false, {}};
    auto& options = arguments.options;
    options.push_back({"types", m_abilities.sourceTypes & (monitorSource | windowSource)});
    options.push_back({"multiple", false});
    if (m_abilities.version >= versionWithCursorModes &&
        (m_abilities.cursorModes & hiddenCursor) != 0)
        options.push_back({"cursor_mode", hiddenCursor});
    if (m_abilities.version >= versionWithRestoring)
        options.push_back({"persist_mode", persistUntilRevoked});
    if (!m_usedToken.empty())
        options.push_back({"restore_token", m_usedToken});
    request("SelectSources", std::move(arguments));
}

/// The user is asked now, unless the token spares it.
void PortalSession::start() {
    begin(Step::Starting);
    request("Start", {m_session, true, {}});
}

void PortalSession::openRemote() {
    begin(Step::Opening);
    send(makePortalCall(m_bus.get(), "OpenPipeWireRemote", {m_session, false, {}}),
         [](sd_bus_message* reply, void* data, sd_bus_error*) {
             of(data).onRemote(reply);
             return 0;
         });
}

/// The answer comes as a signal of an object whose path is known before, lest it be missed.
void PortalSession::request(const char* method, PortalArguments arguments) {
    const std::string name = "starloom42_" + std::to_string(++m_requests);
    arguments.options.push_back({"handle_token", name});
    m_request = requestPath(m_bus.get(), name);
    m_call = send(makePortalCall(m_bus.get(), method, arguments),
                  [](sd_bus_message* reply, void* data, sd_bus_error*) {
                      of(data).onRequestReply(reply);
                      return 0;
                  });
}

std::uint64_t PortalSession::send(const MessagePtr& call, sd_bus_message_handler_t onReply) {
    std::uint64_t number = 0;
    if (!call ||
        sd_bus_call_async(m_bus.get(), nullptr, call.get(), onReply, this,
                          microseconds(m_patience)) < 0 ||
        sd_bus_message_get_cookie(call.get(), &number) < 0)
        end("The desktop's portal cannot be called.");
    return number;
}

void PortalSession::onRequestReply(sd_bus_message* reply) {
    std::uint64_t number = 0;
    const bool isLate = m_request.empty() || sd_bus_message_get_reply_cookie(reply, &number) < 0 ||
                        number != m_call;
    if (isLate) // what was asked for has been answered already
        return;
    if (const sd_bus_error* error = sd_bus_message_get_error(reply)) {
        m_request.clear();
        // Not every portal takes a token that it does not know for none.
        if (m_step == Step::Selecting && !std::exchange(m_usedToken, {}).empty())
            return selectSources();
        return end(refusal(*error));
    }
    const char* path = nullptr;
    if (sd_bus_message_read(reply, "o", &path) <= 0)
        return endMisunderstood();
    m_request = path; // old portals choose it themselves
}

void PortalSession::onResponse(sd_bus_message* signal) {
    if (m_request.empty() || m_request != sd_bus_message_get_path(signal))
        return;
    m_request.clear();
    const auto answer = readAnswer(signal);
    if (!answer)
        return endMisunderstood();
    if (m_step == Step::Starting)
        return onPermission(*answer);
    if (answer->outcome != PortalAnswer::Outcome::Granted)
        return end("The desktop's portal does not share windows now.");
    if (m_step == Step::Selecting)
        return start();
    m_session = answer->session;
    if (sd_bus_object_path_is_valid(m_session.c_str()) > 0)
        return selectSources();
    m_session.clear();
    endMisunderstood();
}

/// Whatever the answer is, the token that was used has had its one use.
void PortalSession::onPermission(const PortalAnswer& answer) {
    m_token.replace(answer.restoreToken);
    switch (answer.outcome) {
    case PortalAnswer::Outcome::Refused:
        return end("No window was chosen.");
    case PortalAnswer::Outcome::Failed:
        return end("The desktop could not share a window.");
    case PortalAnswer::Outcome::Granted:
        break;
    }
    if (!answer.hasStream)
        return end("The desktop shares no window.");
    m_grant.source.node = answer.node;
    m_grant.source.widthInPoints = static_cast<std::uint32_t>(std::max(answer.widthInPoints, 0));
    m_grant.isMonitor = answer.sourceType == monitorSource;
    openRemote();
}

void PortalSession::onRemote(sd_bus_message* reply) {
    if (const sd_bus_error* error = sd_bus_message_get_error(reply))
        return end(refusal(*error));
    int remote = -1; // the message's own
    if (sd_bus_message_read(reply, "h", &remote) <= 0)
        return endMisunderstood();
    m_grant.source.remote.reset(::fcntl(remote, F_DUPFD_CLOEXEC, 0));
    if (!m_grant.source.remote)
        return end("There are too many open files for another stream of pictures.");
    begin(Step::Granted);
    m_handlers.onGrant(std::move(m_grant));
}

void PortalSession::endMisunderstood() {
    end("The desktop's portal answers in an unknown way.");
}

} // namespace platform
