// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The talk with the portal until it grants a stream, and for as long as it does. Its interface is
// described at https://flatpak.github.io/xdg-desktop-portal/ (ScreenCast, Request, Session).
#pragma once

#include "platform/base/Result.h"
#include "platform/capture/portal/PipeWireStream.h"
#include "platform/capture/portal/PortalAnswer.h"
#include "platform/capture/portal/PortalCall.h"
#include "platform/capture/portal/RestoreToken.h"
#include "platform/capture/portal/SessionBus.h"

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace platform {

/// One thread, which calls process() when the bus has something for it or the deadline is over.
/// Only the user may take as long as it takes.
class PortalSession {
public:
    using Clock = std::chrono::steady_clock;

    struct Grant {
        PipeWireStream::Source source;
        bool isMonitor = false; ///< else a window
    };
    /// They may not destroy the session.
    struct Handlers {
        std::function<void(Grant)> onGrant;
        /// Why there is no stream, or no longer; for a person. May come more than once.
        std::function<void(std::string)> onEnd;
    };

    static Result<std::unique_ptr<PortalSession>> open(const PortalAbilities& abilities,
                                                       const RestoreToken& token,
                                                       std::chrono::milliseconds patience,
                                                       Handlers handlers);
    /// Takes the user's dialog away, and ends the stream.
    ~PortalSession();
    PortalSession(const PortalSession&) = delete;
    PortalSession& operator=(const PortalSession&) = delete;

    pollfd waitsFor() const;
    std::optional<Clock::time_point> deadline() const;
    void process();

private:
    enum class Step { Connecting, Creating, Selecting, Starting, Opening, Granted };

    PortalSession(BusPtr bus, const PortalAbilities& abilities, const RestoreToken& token,
                  std::chrono::milliseconds patience, Handlers handlers);

    bool watchPortal();
    void begin(Step step);
    void createSession();
    void selectSources();
    void start();
    void openRemote();

    void request(const char* method, PortalArguments arguments);
    /// Returns the number of the call.
    std::uint64_t send(const MessagePtr& call, sd_bus_message_handler_t onReply);

    void onRequestReply(sd_bus_message* reply);
    void onResponse(sd_bus_message* signal);
    void onPermission(const PortalAnswer& answer);
    void onRemote(sd_bus_message* reply);
    void end(std::string reason) { m_handlers.onEnd(std::move(reason)); }
    void endMisunderstood();

    static PortalSession& of(void* data) { return *static_cast<PortalSession*>(data); }

    const BusPtr m_bus;
    const PortalAbilities m_abilities;
    const RestoreToken m_token;
    const std::chrono::milliseconds m_patience;
    const Handlers m_handlers;

    Step m_step = Step::Connecting;
    std::optional<Clock::time_point> m_deadline; ///< of the step
    std::string m_usedToken;
    unsigned m_requests = 0;  ///< how many there have been
    std::string m_request;    ///< path of the one that is not answered yet, else empty
    std::uint64_t m_call = 0; ///< number of the call that made it
    std::string m_session;    ///< path
    Grant m_grant;
};

} // namespace platform
