// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A program with one window, as others see it: it has a connection of its own, and a thread that
// paints when the server asks for it.
#pragma once

#include <xcb/xcb.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace platform::tests {

/// Waits for something that nobody tells of. False when it takes too long.
bool waitUntil(const std::function<bool()>& condition);

class TestWindow {
public:
    struct Options {
        std::uint16_t width = 640;
        std::uint16_t height = 400;
        std::uint8_t depth = 24;
        std::uint16_t border = 0;
        bool isOverridden = false; ///< no matter for a window manager
        bool paints = true;        ///< the test picture; otherwise nothing
    };

    /// Has painted counter 0 when it is made; throws when that takes too long. `prepare` can give
    /// it properties before it is shown.
    TestWindow(const std::string& display, const Options& options,
               const std::function<void(TestWindow&)>& prepare = {});
    ~TestWindow();
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;

    xcb_connection_t* connection() const { return m_connection.get(); }
    xcb_window_t id() const { return m_window; }
    xcb_window_t root() const { return m_screen->root; }
    xcb_atom_t atom(std::string_view name) const;
    void setText(std::string_view property, std::string_view type, std::string_view bytes);
    void setNumbers(std::string_view property, std::string_view type,
                    const std::vector<std::uint32_t>& numbers);

    void show(std::uint32_t counter);
    /// Returns when it has painted the counter in the new size.
    bool resize(std::uint16_t width, std::uint16_t height, std::uint32_t counter);
    void configure(std::uint16_t mask, const std::vector<std::uint32_t>& values);
    bool minimise();
    bool restore();
    void fill(std::uint32_t colour, xcb_rectangle_t part);
    void close();
    /// Waits until the server has done all that was asked of it.
    void settle() const;

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };
    xcb_visualid_t visualOfDepth(std::uint8_t depth) const;
    void follow();
    void stopFollowing();
    void paint();
    bool waitFor(const std::function<bool()>& condition);

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    xcb_screen_t* m_screen = nullptr;
    Options m_options;
    xcb_window_t m_window = 0;
    xcb_gcontext_t m_context = 0;
    std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_changed;
    std::uint32_t m_counter = 0;
    std::uint16_t m_width = 0;
    std::uint16_t m_height = 0;
    bool m_isMapped = false;
    bool m_isPainted = false;
    std::vector<std::uint32_t> m_pixels;
    std::thread m_thread;
};

} // namespace platform::tests
