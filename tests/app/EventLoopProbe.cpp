// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/app/EventLoopProbe.h"

#include <poll.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <optional>
#include <stdexcept>
#include <utility>

namespace app::tests {

using Clock = std::chrono::steady_clock;

static double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double Latencies::quantile(double share) const {
    if (m_values.empty())
        return 0;
    std::vector<double> sorted = m_values;
    std::ranges::sort(sorted);
    return sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1))];
}

std::size_t Latencies::countAbove(double milliseconds) const {
    return static_cast<std::size_t>(
        std::ranges::count_if(m_values, [=](double value) { return value > milliseconds; }));
}

std::ostream& operator<<(std::ostream& stream, const Latencies& latencies) {
    stream << latencies.count() << " pings, median " << latencies.quantile(0.5) << " ms, 99 % "
           << latencies.quantile(0.99) << " ms, max " << latencies.max() << " ms; above";
    for (const int limit : {5, 10, 20, 50, 100, 200, 500, 1000})
        stream << ' ' << limit << " ms: " << latencies.countAbove(limit)
               << (limit < 1000 ? "," : "");
    return stream;
}

class EventLoopProbe::Connection {
public:
    explicit Connection(const std::string& display)
        : m_connection(xcb_connect(display.c_str(), nullptr)) {
        if (xcb_connection_has_error(m_connection) != 0) {
            xcb_disconnect(m_connection);
            throw std::runtime_error("cannot connect to the display " + display);
        }
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        m_protocols = atom("WM_PROTOCOLS");
        m_ping = atom("_NET_WM_PING");
        // Answers go to the root window, in the one form or the other.
        const std::uint32_t events =
            XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_connection, m_root, XCB_CW_EVENT_MASK, &events);
        xcb_flush(m_connection);
    }
    ~Connection() { xcb_disconnect(m_connection); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// The window whose title begins so; 0 when there is none.
    xcb_window_t find(const std::string& title) const {
        const Reply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, m_root), nullptr));
        if (!tree)
            return 0;
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i)
            if (titleOf(children[i]).starts_with(title))
                return children[i];
        return 0;
    }

    void ping(xcb_window_t window, std::uint32_t number) const {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = m_protocols;
        message.data.data32[0] = m_ping;
        message.data.data32[1] = number;
        message.data.data32[2] = window;
        xcb_send_event(m_connection, 0, window, XCB_EVENT_MASK_NO_EVENT,
                       reinterpret_cast<const char*>(&message));
        xcb_flush(m_connection);
    }

    struct Event {
        std::optional<std::uint32_t> answered; ///< the number of a ping
        xcb_window_t destroyed = 0;
    };
    /// The next event; none when there is none within the time.
    std::optional<Event> next(std::chrono::milliseconds limit) const {
        Reply<xcb_generic_event_t> event(xcb_poll_for_event(m_connection));
        if (!event) {
            pollfd socket{xcb_get_file_descriptor(m_connection), POLLIN, 0};
            ::poll(&socket, 1, static_cast<int>(limit.count()));
            event.reset(xcb_poll_for_event(m_connection));
        }
        if (!event)
            return std::nullopt;
        Event result;
        const int type = event->response_type & 0x7f;
        if (type == XCB_CLIENT_MESSAGE) {
            const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(*event);
            if (message.type == m_protocols && message.data.data32[0] == m_ping)
                result.answered = message.data.data32[1];
        } else if (type == XCB_DESTROY_NOTIFY) {
            result.destroyed = reinterpret_cast<const xcb_destroy_notify_event_t&>(*event).window;
        }
        return result;
    }

private:
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };
    template <class T>
    using Reply = std::unique_ptr<T, Free>;

    xcb_atom_t atom(std::string_view name) const {
        const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
            m_connection,
            xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(name.size()), name.data()),
            nullptr));
        return reply ? reply->atom : 0;
    }
    std::string titleOf(xcb_window_t window) const {
        const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            m_connection,
            xcb_get_property(m_connection, 0, window, atom("_NET_WM_NAME"), XCB_ATOM_ANY, 0, 64),
            nullptr));
        if (!reply)
            return {};
        return {static_cast<const char*>(xcb_get_property_value(reply.get())),
                static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
    }

    xcb_connection_t* m_connection;
    xcb_window_t m_root = 0;
    xcb_atom_t m_protocols = 0;
    xcb_atom_t m_ping = 0;
};

EventLoopProbe::EventLoopProbe(const std::string& display, std::string title)
    : m_connection(std::make_unique<Connection>(display)),
      m_thread(
          [this, title = std::move(title)](const std::stop_token& stop) { run(title, stop); }) {}

EventLoopProbe::~EventLoopProbe() = default;

Latencies EventLoopProbe::take() {
    const std::lock_guard lock(m_mutex);
    Latencies taken = std::exchange(m_latencies, {});
    if (m_oldestUnanswered)
        taken.add(millisecondsSince(*m_oldestUnanswered));
    return taken;
}

void EventLoopProbe::run(const std::string& title, const std::stop_token& stop) {
    xcb_window_t window = 0;
    std::uint32_t number = 0;
    std::deque<std::pair<std::uint32_t, Clock::time_point>> waiting;
    auto due = Clock::now();
    while (!stop.stop_requested()) {
        if (const auto now = Clock::now(); now >= due) {
            due = now + interval;
            if (window == 0)
                window = m_connection->find(title);
            if (window != 0) {
                waiting.emplace_back(++number, now);
                m_connection->ping(window, number);
            }
        }
        const auto event = m_connection->next(interval);
        const std::lock_guard lock(m_mutex);
        if (event && event->answered)
            for (; !waiting.empty() && waiting.front().first <= *event->answered;
                 waiting.pop_front())
                m_latencies.add(millisecondsSince(waiting.front().second));
        if (event && window != 0 && event->destroyed == window) {
            window = 0;
            waiting.clear();
        }
        m_oldestUnanswered = waiting.empty() ? std::nullopt : std::optional(waiting.front().second);
    }
}

} // namespace app::tests
