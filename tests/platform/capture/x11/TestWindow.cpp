// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/x11/TestWindow.h"

#include "tests/platform/capture/TestPicture.h"

#include <sys/socket.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

namespace platform::tests {

static constexpr std::chrono::seconds patience{10};
/// What lies in the byte without meaning.
static constexpr std::uint32_t halfTransparent = 0x80000000;

bool waitUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

TestWindow::TestWindow(const std::string& display, const Options& options,
                       const std::function<void(TestWindow&)>& prepare)
    : m_connection(xcb_connect(display.c_str(), nullptr)), m_options(options) {
    xcb_connection_t* const x = connection();
    if (xcb_connection_has_error(x) != 0)
        throw std::runtime_error("the test has no X server");
    m_screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;
    const xcb_visualid_t visual = visualOfDepth(options.depth);
    const xcb_colormap_t colours = xcb_generate_id(x);
    xcb_create_colormap(x, XCB_COLORMAP_ALLOC_NONE, colours, root(), visual);
    m_window = xcb_generate_id(x);
    const std::uint32_t values[] = {0, 0xff00ff, options.isOverridden ? 1U : 0U,
                                    XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                                    colours};
    xcb_create_window(x, options.depth, m_window, root(), 20, 30, options.width, options.height,
                      options.border, XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
                      XCB_CW_BACK_PIXMAP | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT |
                          XCB_CW_EVENT_MASK | XCB_CW_COLORMAP,
                      values);
    m_context = xcb_generate_id(x);
    xcb_create_gc(x, m_context, m_window, 0, nullptr);
    if (prepare)
        prepare(*this);
    m_thread = std::thread([this] { follow(); });
    if (!restore() || !waitFor([this] { return m_isPainted || !m_options.paints; })) {
        stopFollowing();
        throw std::runtime_error("the window of the test does not appear");
    }
}

TestWindow::~TestWindow() {
    stopFollowing();
}

// The thread waits for an event.
void TestWindow::stopFollowing() {
    ::shutdown(xcb_get_file_descriptor(connection()), SHUT_RD);
    m_thread.join();
}

xcb_visualid_t TestWindow::visualOfDepth(std::uint8_t depth) const {
    for (auto depths = xcb_screen_allowed_depths_iterator(m_screen); depths.rem != 0;
         xcb_depth_next(&depths)) {
        if (depths.data->depth == depth && depths.data->visuals_len != 0)
            return xcb_depth_visuals(depths.data)->visual_id;
    }
    throw std::runtime_error("the X server has no such depth");
}

xcb_atom_t TestWindow::atom(std::string_view name) const {
    auto* const reply = xcb_intern_atom_reply(
        connection(),
        xcb_intern_atom(connection(), 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr);
    const xcb_atom_t number = reply != nullptr ? reply->atom : XCB_ATOM_NONE;
    std::free(reply);
    return number;
}

void TestWindow::setText(std::string_view property, std::string_view type, std::string_view bytes) {
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, m_window, atom(property), atom(type),
                        8, static_cast<std::uint32_t>(bytes.size()), bytes.data());
    settle();
}

void TestWindow::setNumbers(std::string_view property, std::string_view type,
                            const std::vector<std::uint32_t>& numbers) {
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, m_window, atom(property), atom(type),
                        32, static_cast<std::uint32_t>(numbers.size()), numbers.data());
    settle();
}

void TestWindow::follow() {
    while (xcb_generic_event_t* const event = xcb_wait_for_event(connection())) {
        const std::lock_guard lock(m_mutex);
        const auto type = event->response_type & 0x7f;
        if (type == XCB_CONFIGURE_NOTIFY) {
            const auto* configured = reinterpret_cast<xcb_configure_notify_event_t*>(event);
            m_width = configured->width;
            m_height = configured->height;
        } else if (type == XCB_MAP_NOTIFY || type == XCB_UNMAP_NOTIFY) {
            m_isMapped = type == XCB_MAP_NOTIFY;
        }
        if (type == XCB_EXPOSE || type == XCB_CONFIGURE_NOTIFY)
            paint();
        std::free(event);
        m_changed.notify_all();
    }
}

void TestWindow::paint() {
    if (!m_options.paints)
        return;
    if (m_width == 0) { // it was shown in the size that it was made with
        m_width = m_options.width;
        m_height = m_options.height;
    }
    m_pixels.resize(std::size_t{m_width} * m_height);
    if (m_pixels.size() >= xcb_get_maximum_request_length(connection()) - 8)
        return;
    paintTestPicture(m_pixels, m_width, m_counter);
    for (std::uint32_t& pixel : m_pixels)
        pixel |= halfTransparent;
    xcb_put_image(connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, m_window, m_context, m_width, m_height,
                  0, 0, 0, m_options.depth, static_cast<std::uint32_t>(m_pixels.size() * 4),
                  reinterpret_cast<const std::uint8_t*>(m_pixels.data()));
    xcb_flush(connection());
    m_isPainted = true;
}

void TestWindow::show(std::uint32_t counter) {
    const std::lock_guard lock(m_mutex);
    m_counter = counter;
    paint();
}

bool TestWindow::resize(std::uint16_t width, std::uint16_t height, std::uint32_t counter) {
    {
        const std::lock_guard lock(m_mutex);
        m_counter = counter;
    }
    configure(XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, {width, height});
    return waitFor([=, this] { return m_width == width && m_height == height; });
}

void TestWindow::configure(std::uint16_t mask, const std::vector<std::uint32_t>& values) {
    xcb_configure_window(connection(), m_window, mask, values.data());
    settle();
}

bool TestWindow::minimise() {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = m_window;
    message.type = atom("WM_CHANGE_STATE");
    message.data.data32[0] = 3; // IconicState
    xcb_send_event(connection(), 0, root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    settle();
    return waitFor([this] { return !m_isMapped; });
}

// A window manager that is just starting may leave one request lying until the next one comes.
bool TestWindow::restore() {
    return waitUntil([this] {
        xcb_map_window(connection(), m_window);
        settle();
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::milliseconds(20),
                                  [this] { return m_isMapped; });
    });
}

void TestWindow::fill(std::uint32_t colour, xcb_rectangle_t part) {
    xcb_change_gc(connection(), m_context, XCB_GC_FOREGROUND, &colour);
    xcb_poly_fill_rectangle(connection(), m_window, m_context, 1, &part);
    xcb_flush(connection());
}

void TestWindow::close() {
    xcb_destroy_window(connection(), m_window);
    settle();
}

void TestWindow::settle() const {
    std::free(xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
}

bool TestWindow::waitFor(const std::function<bool()>& condition) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, patience, condition);
}

} // namespace platform::tests
