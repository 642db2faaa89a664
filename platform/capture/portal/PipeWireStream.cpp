// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/PipeWireStream.h"

#include "platform/capture/portal/StreamBuffers.h"
#include "platform/capture/portal/StreamParameters.h"

#include <pipewire/pipewire.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

namespace platform {
namespace {

/// How long the first picture in a format may take.
constexpr std::chrono::milliseconds restartDelay(250);
constexpr unsigned mostRestarts = 3;

/// The library counts how often it is wanted.
class Library {
public:
    Library() { pw_init(nullptr, nullptr); }
    ~Library() { pw_deinit(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

Error failure(const char* what) {
    return Error{std::string(what) + ": " + std::strerror(errno) + "."};
}

} // namespace

class PipeWireStream::Connection {
public:
    explicit Connection(Handlers handlers, std::uint32_t node, std::uint32_t widthInPoints)
        : m_handlers(std::move(handlers)), m_node(node), m_buffers(widthInPoints) {}
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    Result<void> connect(FileDescriptor remote, unsigned picturesPerSecond);
    int descriptor() const { return pw_loop_get_fd(m_loop); }
    std::optional<Clock::time_point> deadline() const { return m_restartTime; }
    void process();

private:
    Result<void> connectCore(FileDescriptor remote);
    Result<void> connectStream(unsigned picturesPerSecond);

    void onState(pw_stream_state state, const char* error);
    void onFormat(const spa_pod* format);
    void awaitPicture();
    void stopForRestart();
    void takePictures();
    void end(std::string reason) { m_handlers.onEnd(std::move(reason)); }

    static Connection& of(void* data) { return *static_cast<Connection*>(data); }
    static const pw_core_events& coreEvents();
    static const pw_registry_events& registryEvents();
    static const pw_stream_events& streamEvents();

    const Library m_library;
    const Handlers m_handlers;
    const std::uint32_t m_node;
    StreamBuffers m_buffers;
    OwnPicture m_picture; ///< the one being read
    std::optional<PictureFormat> m_format;
    unsigned m_restartsLeft = 0;  ///< for the format
    bool m_awaitsPicture = false; ///< the first in the format
    bool m_isStopping = false;    ///< for a restart
    std::optional<Clock::time_point> m_restartTime;

    pw_loop* m_loop = nullptr;
    pw_context* m_context = nullptr;
    pw_core* m_core = nullptr;
    pw_registry* m_registry = nullptr;
    pw_stream* m_stream = nullptr;
    spa_hook m_coreHook{};
    spa_hook m_registryHook{};
    spa_hook m_streamHook{};
};

const pw_core_events& PipeWireStream::Connection::coreEvents() {
    static const pw_core_events events = [] {
        pw_core_events result{};
        result.version = PW_VERSION_CORE_EVENTS;
        result.error = [](void* data, std::uint32_t id, int, int code, const char* message) {
            if (id == PW_ID_CORE && code == -EPIPE)
                of(data).end("The connection to PipeWire was lost.");
            else if (id == PW_ID_CORE)
                of(data).end(std::string("PipeWire reports: ") + message + ".");
        };
        return result;
    }();
    return events;
}

const pw_registry_events& PipeWireStream::Connection::registryEvents() {
    static const pw_registry_events events = [] {
        pw_registry_events result{};
        result.version = PW_VERSION_REGISTRY_EVENTS;
        result.global_remove = [](void* data, std::uint32_t id) {
            if (id == of(data).m_node)
                of(data).end("The window was closed, or the desktop no longer shares it.");
        };
        return result;
    }();
    return events;
}

const pw_stream_events& PipeWireStream::Connection::streamEvents() {
    static const pw_stream_events events = [] {
        pw_stream_events result{};
        result.version = PW_VERSION_STREAM_EVENTS;
        result.state_changed = [](void* data, pw_stream_state, pw_stream_state state,
                                  const char* error) { of(data).onState(state, error); };
        result.param_changed = [](void* data, std::uint32_t id, const spa_pod* parameter) {
            if (id == SPA_PARAM_Format)
                of(data).onFormat(parameter);
        };
        result.add_buffer = [](void* data, pw_buffer* buffer) { of(data).m_buffers.add(buffer); };
        result.remove_buffer = [](void* data, pw_buffer* buffer) {
            of(data).m_buffers.remove(buffer);
        };
        result.process = [](void* data) { of(data).takePictures(); };
        return result;
    }();
    return events;
}

Result<void> PipeWireStream::Connection::connect(FileDescriptor remote,
                                                 unsigned picturesPerSecond) {
    SL42_TRY_VOID(connectCore(std::move(remote)));
    return connectStream(picturesPerSecond);
}

Result<void> PipeWireStream::Connection::connectCore(FileDescriptor remote) {
    m_loop = pw_loop_new(nullptr);
    if (m_loop == nullptr)
        return failure("PipeWire cannot be used");
    pw_loop_enter(m_loop);
    m_context = pw_context_new(m_loop, nullptr, 0);
    if (m_context == nullptr)
        return failure("PipeWire cannot be used");
    m_core = pw_context_connect_fd(m_context, remote.release(), nullptr, 0);
    if (m_core == nullptr)
        return failure("The desktop's PipeWire cannot be reached");
    pw_core_add_listener(m_core, &m_coreHook, &coreEvents(), this);
    m_registry = pw_core_get_registry(m_core, PW_VERSION_REGISTRY, 0);
    if (m_registry == nullptr)
        return failure("The desktop's PipeWire cannot be reached");
    pw_registry_add_listener(m_registry, &m_registryHook, &registryEvents(), this);
    return {};
}

Result<void> PipeWireStream::Connection::connectStream(unsigned picturesPerSecond) {
    pw_properties* properties = pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY,
                                                  "Capture", PW_KEY_MEDIA_ROLE, "Screen", nullptr);
    m_stream = pw_stream_new(m_core, "window capture", properties);
    if (m_stream == nullptr)
        return failure("The stream of pictures cannot be made");
    pw_stream_add_listener(m_stream, &m_streamHook, &streamEvents(), this);
    const auto formats = StreamParameters::formats(picturesPerSecond);
    auto list = formats.list();
    // Not to be connected with something else, a camera say, when the window goes.
    const auto flags =
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_DONT_RECONNECT);
    const int result = pw_stream_connect(m_stream, PW_DIRECTION_INPUT, m_node, flags, list.data(),
                                         static_cast<std::uint32_t>(list.size()));
    errno = -result;
    if (result < 0)
        return failure("The stream of pictures cannot be connected");
    return {};
}

PipeWireStream::Connection::~Connection() {
    // What happens from here on is our own doing.
    if (m_stream != nullptr) {
        spa_hook_remove(&m_streamHook);
        pw_stream_destroy(m_stream);
    }
    if (m_registry != nullptr) {
        spa_hook_remove(&m_registryHook);
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(m_registry));
    }
    if (m_core != nullptr) {
        spa_hook_remove(&m_coreHook);
        pw_core_disconnect(m_core);
    }
    if (m_context != nullptr)
        pw_context_destroy(m_context);
    if (m_loop != nullptr) {
        pw_loop_leave(m_loop);
        pw_loop_destroy(m_loop);
    }
}

void PipeWireStream::Connection::process() {
    const int result = pw_loop_iterate(m_loop, 0);
    if (result < 0 && result != -EINTR)
        end("The connection to PipeWire was lost.");
    if (m_restartTime && Clock::now() >= *m_restartTime)
        stopForRestart();
}

/// Some desktops send nothing in a new format until the stream is started again, and a picture that
/// is sent while the two ends are still being connected is lost. Both make a still window
/// invisible. (Without waiting until it has stopped, PipeWire 0.3.65 often brings no more pictures
/// at all.)
void PipeWireStream::Connection::stopForRestart() {
    m_restartTime.reset();
    --m_restartsLeft;
    m_isStopping = true;
    pw_stream_set_active(m_stream, false);
}

void PipeWireStream::Connection::onState(pw_stream_state state, const char* error) {
    switch (state) {
    case PW_STREAM_STATE_ERROR:
        return end(std::string("The desktop's stream of pictures failed: ") +
                   (error != nullptr ? error : "no reason is known") + ".");
    case PW_STREAM_STATE_UNCONNECTED:
        return end("The window was closed, or the desktop no longer shares it.");
    case PW_STREAM_STATE_CONNECTING:
        return;
    case PW_STREAM_STATE_PAUSED:
        m_restartTime.reset();
        if (std::exchange(m_isStopping, false))
            pw_stream_set_active(m_stream, true);
        return m_handlers.onRunning(false);
    case PW_STREAM_STATE_STREAMING:
        awaitPicture();
        return m_handlers.onRunning(true);
    }
}

void PipeWireStream::Connection::awaitPicture() {
    if (m_awaitsPicture && m_restartsLeft > 0 && !m_isStopping)
        m_restartTime = Clock::now() + restartDelay;
}

/// Null while the old format is given up for a new one.
void PipeWireStream::Connection::onFormat(const spa_pod* format) {
    m_format.reset();
    if (format == nullptr)
        return;
    m_format = parseFormat(format);
    if (!m_format)
        return end("The desktop's pictures have a format that cannot be read.");
    const auto buffers = StreamParameters::buffers(*m_format);
    auto list = buffers.list();
    pw_stream_update_params(m_stream, list.data(), static_cast<std::uint32_t>(list.size()));
    m_awaitsPicture = true;
    m_restartsLeft = mostRestarts;
    if (pw_stream_get_state(m_stream, nullptr) == PW_STREAM_STATE_STREAMING)
        awaitPicture();
}

/// The buffers go back at once: of a stream whose reader holds more than one, PipeWire 0.3.65 gives
/// some to the writer again all the same, and loses what is written to them then.
void PipeWireStream::Connection::takePictures() {
    pw_buffer* newest = nullptr;
    std::optional<PictureLayout> newestLayout;
    while (pw_buffer* buffer = pw_stream_dequeue_buffer(m_stream)) {
        const auto layout = m_format ? m_buffers.layoutIn(buffer, *m_format) : std::nullopt;
        if (layout) {
            std::swap(newest, buffer);
            newestLayout = layout;
        }
        if (buffer != nullptr)
            pw_stream_queue_buffer(m_stream, buffer);
    }
    if (newest == nullptr)
        return;
    const bool isRead = m_buffers.read(newest, *m_format, *newestLayout, m_picture);
    pw_stream_queue_buffer(m_stream, newest);
    if (!isRead)
        return;
    m_awaitsPicture = false;
    m_restartTime.reset();
    m_handlers.onPicture(m_picture);
}

Result<std::unique_ptr<PipeWireStream>>
PipeWireStream::connect(Source source, unsigned picturesPerSecond, Handlers handlers) {
    auto connection =
        std::make_unique<Connection>(std::move(handlers), source.node, source.widthInPoints);
    SL42_TRY_VOID(connection->connect(std::move(source.remote), picturesPerSecond));
    return std::unique_ptr<PipeWireStream>(new PipeWireStream(std::move(connection)));
}

PipeWireStream::PipeWireStream(std::unique_ptr<Connection> connection)
    : m_connection(std::move(connection)) {}

PipeWireStream::~PipeWireStream() = default;

int PipeWireStream::descriptor() const {
    return m_connection->descriptor();
}

std::optional<PipeWireStream::Clock::time_point> PipeWireStream::deadline() const {
    return m_connection->deadline();
}

void PipeWireStream::process() {
    m_connection->process();
}

} // namespace platform
