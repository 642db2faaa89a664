// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/desktop/Inhibition.h"

#include <utility>

namespace platform {
namespace {

struct Service {
    const char* name;
    const char* path;
    const char* interface;
};
constexpr Service portal{"org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                         "org.freedesktop.portal.Inhibit"};
constexpr Service screenSaver{"org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
                              "org.freedesktop.ScreenSaver"};
constexpr const char* requestInterface = "org.freedesktop.portal.Request";

/// The portal's flags of what is not to happen.
constexpr std::uint32_t suspend = 4;
constexpr std::uint32_t idle = 8;

/// Null when there is no memory for it.
MessagePtr makeCall(sd_bus& bus, const Service& service, const char* method) {
    sd_bus_message* message = nullptr;
    if (sd_bus_message_new_method_call(&bus, &message, service.name, service.path,
                                       service.interface, method) < 0)
        return nullptr;
    return MessagePtr(message);
}

void sendWithoutAnswer(sd_bus& bus, sd_bus_message* message) {
    sd_bus_message_set_expect_reply(message, 0);
    sd_bus_send(&bus, message, nullptr);
}

} // namespace

Inhibition::Inhibition(sd_bus& bus, std::string program, std::string reason,
                       std::chrono::milliseconds patience)
    : m_bus(bus),
      m_program(std::move(program)),
      m_reason(std::move(reason)),
      m_patience(patience) {}

void Inhibition::ask() {
    askPortal();
}

void Inhibition::call(sd_bus_message* message, sd_bus_message_handler_t answered) {
    sd_bus_call_async(&m_bus, nullptr, message, answered, this, microseconds(m_patience));
}

// The empty text stands for the window that a question of the desktop would belong to.
void Inhibition::askPortal() {
    const MessagePtr message = makeCall(m_bus, portal, "Inhibit");
    if (message && sd_bus_message_append(message.get(), "sua{sv}", "", suspend | idle, 1, "reason",
                                         "s", m_reason.c_str()) >= 0)
        call(message.get(), portalAnswered);
}

// An answer that comes too late is an error, too.
int Inhibition::portalAnswered(sd_bus_message* answer, void* self, sd_bus_error*) {
    auto& inhibition = *static_cast<Inhibition*>(self);
    const char* request = nullptr;
    if (sd_bus_message_is_method_error(answer, nullptr) == 0 &&
        sd_bus_message_read(answer, "o", &request) > 0)
        inhibition.m_request = request;
    else
        inhibition.askScreenSaver();
    return 0;
}

void Inhibition::askScreenSaver() {
    const MessagePtr message = makeCall(m_bus, screenSaver, "Inhibit");
    if (message &&
        sd_bus_message_append(message.get(), "ss", m_program.c_str(), m_reason.c_str()) >= 0)
        call(message.get(), screenSaverAnswered);
}

int Inhibition::screenSaverAnswered(sd_bus_message* answer, void* self, sd_bus_error*) {
    std::uint32_t cookie = 0;
    if (sd_bus_message_is_method_error(answer, nullptr) == 0 &&
        sd_bus_message_read(answer, "u", &cookie) > 0)
        static_cast<Inhibition*>(self)->m_cookie = cookie;
    return 0;
}

void Inhibition::release() {
    if (!m_request.empty()) {
        const Service request{portal.name, m_request.c_str(), requestInterface};
        if (const MessagePtr message = makeCall(m_bus, request, "Close"))
            sendWithoutAnswer(m_bus, message.get());
    }
    if (m_cookie) {
        const MessagePtr message = makeCall(m_bus, screenSaver, "UnInhibit");
        if (message && sd_bus_message_append(message.get(), "u", *m_cookie) >= 0)
            sendWithoutAnswer(m_bus, message.get());
    }
    m_request.clear();
    m_cookie.reset();
}

} // namespace platform
