// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/portal/TestStream.h"

#include "platform/base/Fatal.h"
#include "tests/platform/capture/TestPicture.h"

#include <fcntl.h>
#include <pipewire/pipewire.h>
#include <spa/buffer/meta.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

namespace platform::tests {
namespace {

/// All callbacks run on PipeWire's thread, and everything else holds its lock.
class Lock {
public:
    explicit Lock(pw_thread_loop* loop) : m_loop(loop) { pw_thread_loop_lock(loop); }
    ~Lock() { pw_thread_loop_unlock(m_loop); }
    Lock(const Lock&) = delete;

private:
    pw_thread_loop* m_loop;
};

constexpr std::uint32_t windowX = 16;
constexpr std::uint32_t windowY = 8;

struct Size {
    std::uint32_t width;
    std::uint32_t height;
    bool operator==(const Size&) const = default;
};

Size bufferSize(const StreamShape& shape) {
    return shape.isInMonitor ? Size{shape.width + 100, shape.height + 60}
                             : Size{shape.width, shape.height};
}

std::uint32_t bytesPerRow(const StreamShape& shape) {
    return bufferSize(shape).width * 4 + shape.padding;
}

std::uint32_t byteCount(const StreamShape& shape) {
    return shape.offset + bufferSize(shape).height * bytesPerRow(shape);
}

std::uint32_t formatOf(const StreamShape& shape) {
    return shape.format == 0 ? std::uint32_t{SPA_VIDEO_FORMAT_BGRx} : shape.format;
}

bool isRedFirst(const StreamShape& shape) {
    return formatOf(shape) == SPA_VIDEO_FORMAT_RGBx || formatOf(shape) == SPA_VIDEO_FORMAT_RGBA;
}

std::uint32_t pixelIn(const StreamShape& shape, std::uint32_t pixel) {
    if (!isRedFirst(shape))
        return pixel;
    return (pixel & 0x00ff00) | (pixel & 0xff) << 16 | (pixel >> 16 & 0xff);
}

/// With the top byte and all that is not the window filled with what must not be seen.
void paint(const StreamShape& shape, std::uint32_t counter, std::span<std::byte> bytes) {
    std::memset(bytes.data(), 0x5a, bytes.size());
    const std::uint32_t left = shape.isInMonitor ? windowX : 0;
    const std::uint32_t top = shape.isInMonitor ? windowY : 0;
    for (std::uint32_t y = 0; y < shape.height; ++y)
        for (std::uint32_t x = 0; x < shape.width; ++x) {
            const std::uint32_t pixel =
                pixelIn(shape, testPixel(x, y, shape.width, shape.height, counter)) | 0x5a000000;
            const std::size_t place = shape.offset + std::size_t{top + y} * bytesPerRow(shape) +
                                      std::size_t{left + x} * 4;
            std::memcpy(&bytes[place], &pixel, sizeof pixel);
        }
}

TestStream& of(void* data) {
    return *static_cast<TestStream*>(data);
}

} // namespace

const pw_stream_events& TestStream::events() {
    static const pw_stream_events events = [] {
        pw_stream_events result{};
        result.version = PW_VERSION_STREAM_EVENTS;
        result.state_changed = [](void* data, pw_stream_state, pw_stream_state state, const char*) {
            of(data).onState(state);
        };
        result.param_changed = [](void* data, std::uint32_t id, const spa_pod* parameter) {
            if (id == SPA_PARAM_Format)
                of(data).onFormat(parameter);
        };
        result.add_buffer = [](void* data, pw_buffer* buffer) {
            addBuffer(of(data).m_shape, buffer);
        };
        result.remove_buffer = [](void*, pw_buffer* buffer) { removeBuffer(buffer); };
        return result;
    }();
    return events;
}

TestStream::TestStream(StreamShape shape) : m_shape(std::move(shape)) {
    pw_init(nullptr, nullptr);
    m_loop = pw_thread_loop_new("window", nullptr);
    pw_loop* loop = pw_thread_loop_get_loop(m_loop);
    m_context = pw_context_new(loop, nullptr, 0);
    m_core = pw_context_connect(m_context, nullptr, 0);
    if (m_core == nullptr)
        fatalError("The tests cannot reach their PipeWire.");
    spa_source* timer =
        pw_loop_add_timer(loop, [](void* data, std::uint64_t) { of(data).send(); }, this);
    pw_thread_loop_start(m_loop);
    const Lock lock(m_loop);
    timespec interval{.tv_sec = 0, .tv_nsec = 1'000'000}; // for what waits for a buffer
    pw_loop_update_timer(loop, timer, &interval, &interval, false);
    connect();
}

TestStream::~TestStream() {
    {
        const Lock lock(m_loop);
        pw_stream_destroy(m_stream);
        pw_core_disconnect(m_core);
    }
    pw_thread_loop_stop(m_loop);
    pw_context_destroy(m_context);
    pw_thread_loop_destroy(m_loop);
    pw_deinit();
}

void TestStream::connect() {
    m_isReady = false;
    m_mustSend = true;
    m_stream = pw_stream_new(m_core, "window",
                             pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", nullptr));
    pw_stream_add_listener(m_stream, &m_hook, &events(), this);
    Encoded memory{};
    const spa_pod* format = offeredFormat(memory);
    const auto flags =
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_ALLOC_BUFFERS);
    pw_stream_connect(m_stream, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, &format, 1);
    while (pw_stream_get_node_id(m_stream) == PW_ID_ANY)
        pw_thread_loop_timed_wait(m_loop, 1);
}

std::uint32_t TestStream::renew() {
    const Lock lock(m_loop);
    pw_stream_destroy(m_stream);
    connect();
    return pw_stream_get_node_id(m_stream);
}

const spa_pod* TestStream::offeredFormat(Encoded& memory) const {
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    spa_video_info_raw info{};
    info.format = static_cast<spa_video_format>(formatOf(m_shape));
    const Size size = bufferSize(m_shape);
    info.size = {size.width, size.height};
    info.framerate = {0, 1};
    return spa_format_video_raw_build(&builder, SPA_PARAM_EnumFormat, &info);
}

void TestStream::onState(pw_stream_state state) {
    pw_thread_loop_signal(m_loop, false);
    // Whoever begins to look sees what there is.
    if (state == PW_STREAM_STATE_STREAMING)
        m_mustSend = true;
    if (state == PW_STREAM_STATE_STREAMING && m_isReady)
        m_isSilent = false;
}

void TestStream::onFormat(const spa_pod* format) {
    spa_video_info_raw info{};
    const Size size = bufferSize(m_shape);
    m_isReady = format != nullptr && spa_format_video_raw_parse(format, &info) >= 0 &&
                info.size.width == size.width && info.size.height == size.height &&
                info.format == formatOf(m_shape);
    if (!m_isReady)
        return;
    Encoded memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    std::array<const spa_pod*, 3> parameters{};
    parameters[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_Int(4), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1), SPA_PARAM_BUFFERS_size,
        SPA_POD_Int(byteCount(m_shape)), SPA_PARAM_BUFFERS_stride,
        SPA_POD_Int(bytesPerRow(m_shape)), SPA_PARAM_BUFFERS_dataType,
        SPA_POD_Int(1 << SPA_DATA_MemFd)));
    const auto addMeta = [&builder](spa_meta_type type, std::size_t size) {
        return static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(type), SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(size))));
    };
    parameters[1] = addMeta(SPA_META_Header, sizeof(spa_meta_header));
    parameters[2] = addMeta(SPA_META_VideoCrop, sizeof(spa_meta_region));
    pw_stream_update_params(m_stream, parameters.data(), parameters.size());
    m_mustSend = true;
    m_isSilent = m_shape.waitsForRestart &&
                 pw_stream_get_state(m_stream, nullptr) == PW_STREAM_STATE_STREAMING;
}

void TestStream::addBuffer(const StreamShape& shape, pw_buffer* buffer) {
    spa_data& data = buffer->buffer->datas[0];
    data.type = SPA_DATA_MemFd;
    data.flags = SPA_DATA_FLAG_READWRITE;
    data.fd = ::memfd_create("window", MFD_CLOEXEC);
    data.mapoffset = 0;
    data.maxsize = byteCount(shape);
    if (::ftruncate(static_cast<int>(data.fd), data.maxsize) != 0)
        fatalError("The tests have no memory for a picture.");
    data.data = ::mmap(nullptr, data.maxsize, PROT_READ | PROT_WRITE, MAP_SHARED,
                       static_cast<int>(data.fd), 0);
}

void TestStream::removeBuffer(pw_buffer* buffer) {
    spa_data& data = buffer->buffer->datas[0];
    ::munmap(data.data, data.maxsize);
    ::close(static_cast<int>(data.fd));
}

void TestStream::send() {
    if (!m_mustSend || !m_isReady || m_isSilent ||
        pw_stream_get_state(m_stream, nullptr) != PW_STREAM_STATE_STREAMING)
        return;
    pw_buffer* buffer = pw_stream_dequeue_buffer(m_stream);
    if (buffer == nullptr)
        return; // the timer comes back to it
    const spa_data& data = buffer->buffer->datas[0];
    if (data.maxsize >= byteCount(m_shape)) {
        paint(m_shape, m_counter, {static_cast<std::byte*>(data.data), data.maxsize});
        m_mustSend = false;
    }
    describe(*buffer->buffer);
    pw_stream_queue_buffer(m_stream, buffer);
    pw_stream_trigger_process(m_stream);
}

void TestStream::describe(spa_buffer& buffer) const {
    *buffer.datas[0].chunk = {.offset = m_shape.offset,
                              .size = byteCount(m_shape) - m_shape.offset,
                              .stride = static_cast<std::int32_t>(bytesPerRow(m_shape)),
                              .flags = SPA_CHUNK_FLAG_NONE};
    if (auto* header = static_cast<spa_meta_header*>(
            spa_buffer_find_meta_data(&buffer, SPA_META_Header, sizeof(spa_meta_header))))
        *header = {};
    if (auto* crop = static_cast<spa_meta_region*>(
            spa_buffer_find_meta_data(&buffer, SPA_META_VideoCrop, sizeof(spa_meta_region)))) {
        *crop = {};
        if (m_shape.isInMonitor)
            crop->region = {{windowX, windowY}, {m_shape.width, m_shape.height}};
    }
    if (m_shape.tamper)
        m_shape.tamper(buffer);
}

void TestStream::show(std::uint32_t counter) {
    const Lock lock(m_loop);
    m_counter = counter;
    m_mustSend = true;
    send();
}

void TestStream::reshape(StreamShape shape, std::uint32_t counter) {
    const Lock lock(m_loop);
    const auto before = std::pair(bufferSize(m_shape), formatOf(m_shape));
    m_shape = std::move(shape);
    m_counter = counter;
    m_mustSend = true;
    if (before != std::pair(bufferSize(m_shape), formatOf(m_shape))) {
        m_isReady = false;
        Encoded memory{};
        const spa_pod* format = offeredFormat(memory);
        pw_stream_update_params(m_stream, &format, 1);
    }
    send();
}

void TestStream::setActive(bool isActive) {
    const Lock lock(m_loop);
    pw_stream_set_active(m_stream, isActive);
}

} // namespace platform::tests
