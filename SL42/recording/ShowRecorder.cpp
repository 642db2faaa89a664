// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/recording/ShowRecorder.h"

#include "platform/process/LowPriority.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>
#include <optional>
#include <utility>

namespace starloom {

using platform::Result;

namespace {

constexpr std::int64_t samplesPerSecond = 48000;
/// How long a picture may be under way after its time.
constexpr std::int64_t latestPicture = samplesPerSecond / 4;
/// How late the recording may be before it holds its picture; well below what the sound tap keeps.
constexpr std::int64_t latestFrame = samplesPerSecond / 2;
/// More than an encoder for sound holds back.
constexpr std::int64_t samplesInEncoder = 4096;
constexpr std::chrono::milliseconds pause(4);

} // namespace

ShowRecorder::ShowRecorder(std::shared_ptr<const platform::SoundTap> sound, std::int64_t now,
                           Client client)
    : m_sound(std::move(sound)),
      m_start(now),
      m_client(std::move(client)),
      m_pictures(std::make_shared<PictureQueue>(std::size_t{width} * height)),
      m_now(now),
      m_recordedUntil(now),
      m_soundUntil(now),
      m_thread([this] { run(); }) {}

ShowRecorder::~ShowRecorder() {
    {
        const platform::Lock lock(m_mutex);
        m_isEnding = true;
    }
    m_changed.notifyOne();
    m_thread.join();
}

std::function<void(std::span<const std::uint32_t>, std::int64_t)> ShowRecorder::pictures() const {
    return [queue = m_pictures](std::span<const std::uint32_t> pixels, std::int64_t time) {
        queue->push(pixels, time);
    };
}

void ShowRecorder::order(Order::Kind kind, const std::string& path) {
    // What is kept ends with the sound that has come out of the encoder.
    const std::int64_t time = m_now + (kind == Order::Kind::Save ? samplesInEncoder : 0);
    const platform::Lock lock(m_mutex);
    m_orders.push_back({kind, path, time});
}

std::optional<ShowRecorder::Order> ShowRecorder::nextOrder(std::int64_t until) {
    const platform::Lock lock(m_mutex);
    if (m_orders.empty() || m_orders.front().time > until)
        return std::nullopt;
    Order order = std::move(m_orders.front());
    m_orders.pop_front();
    return order;
}

void ShowRecorder::run() {
    if (m_client.share == Share::IdleTime)
        platform::takeOnlyIdleTime();
    auto movie = platform::LiveMovie::create(
        {.width = width, .height = height, .frameRate = {framesPerSecond, 1}, .hasSound = true});
    if (!movie)
        return fail(movie.error());
    do {
        carryOutOrders(*movie, timeOf(m_nextFrame));
        movie->keepLast(m_keep);
        if (const auto recorded = recordDueFrames(*movie); !recorded) {
            const bool isTheFileAlone = !m_file.empty() && !movie->hasFile();
            fail(recorded.error());
            if (!isTheFileAlone)
                return;
        }
        m_keptBytes = movie->keptBytes();
        m_recordedUntil = m_soundUntil;
    } while (waitForMore());
    if (const auto recorded = recordRest(*movie); !recorded)
        return fail(recorded.error());
    if (movie->hasFile())
        completeFile(*movie);
}

/// What has been seen and heard already, though its time to be recorded has not come.
Result<void> ShowRecorder::recordRest(platform::LiveMovie& movie) {
    const std::int64_t end = m_now;
    while (timeOf(m_nextFrame) < end) {
        carryOutOrders(movie, timeOf(m_nextFrame));
        SL42_TRY_VOID(recordFrame(movie));
        SL42_TRY_VOID(recordSound(movie, timeOf(++m_nextFrame)));
    }
    SL42_TRY_VOID(recordSound(movie, m_soundUntil + samplesInEncoder));
    carryOutOrders(movie, std::numeric_limits<std::int64_t>::max());
    if (movie.hasFile())
        movie.endFile();
    return {};
}

void ShowRecorder::fail(const platform::Error& error) {
    m_isFileEnding = false;
    m_client.finished(std::exchange(m_file, {}), error);
}

void ShowRecorder::carryOutOrders(platform::LiveMovie& movie, std::int64_t until) {
    while (true) {
        if (m_isFileEnding && !movie.isFileComplete())
            return;
        if (m_isFileEnding)
            completeFile(movie);
        const auto order = nextOrder(until);
        if (!order)
            return;
        carryOut(*order, movie);
    }
}

void ShowRecorder::carryOut(const Order& order, platform::LiveMovie& movie) {
    switch (order.kind) {
    case Order::Kind::Save:
        m_saving = std::jthread([write = movie.saveLast(), path = order.path, client = m_client] {
            client.finished(path, write(path));
        });
        return;
    case Order::Kind::Start:
        if (movie.hasFile())
            completeFile(movie);
        return beginFile(movie, order.path);
    case Order::Kind::Finish:
        if (!movie.hasFile())
            return;
        movie.endFile();
        m_isFileEnding = true;
        return;
    }
}

void ShowRecorder::beginFile(platform::LiveMovie& movie, const std::string& path) {
    m_file = path;
    if (const auto started = movie.startFile(path); !started)
        fail(started.error());
}

void ShowRecorder::completeFile(platform::LiveMovie& movie) {
    const auto finished = movie.finishFile();
    m_isFileEnding = false;
    m_client.finished(std::exchange(m_file, {}), finished);
}

// The picture for a frame is the one drawn nearest to its time. It is there when a later one is,
// and so is its sound, which is mixed ahead; a screen that stands still has no later one.
bool ShowRecorder::isDue(std::int64_t time) const {
    const std::int64_t now = m_now;
    const PictureQueue::Picture* newest = m_pictures->newest();
    return now >= time + latestPicture ||
           (newest && newest->time > time + samplesPerFrame / 2 && now >= time + samplesPerFrame);
}

Result<void> ShowRecorder::recordDueFrames(platform::LiveMovie& movie) {
    const std::int64_t late = m_now - timeOf(m_nextFrame);
    if (late > latestFrame && m_nextFrame > 0) {
        const std::int64_t held = (late - latestPicture) / samplesPerFrame;
        movie.skipFrames(held);
        m_nextFrame += held;
        m_heldFrames += static_cast<std::uint64_t>(held);
        SL42_TRY_VOID(recordSound(movie, timeOf(m_nextFrame)));
    }
    // One at a time: between two of them there may be an order, or the recorder end.
    if (!isDue(timeOf(m_nextFrame)))
        return {};
    SL42_TRY_VOID(recordFrame(movie));
    ++m_nextFrame;
    return recordSound(movie, timeOf(m_nextFrame));
}

Result<void> ShowRecorder::recordFrame(platform::LiveMovie& movie) {
    const std::int64_t time = timeOf(m_nextFrame);
    const PictureQueue::Picture* next = m_pictures->next();
    while (next && next->time <= time + samplesPerFrame / 2) {
        m_pictures->pop();
        next = m_pictures->next();
    }
    const PictureQueue::Picture* shown = m_pictures->front();
    static const std::vector<std::uint32_t> black(std::size_t{width} * height, 0xff000000U);
    return movie.writeFrame(shown ? shown->pixels : black);
}

Result<void> ShowRecorder::recordSound(platform::LiveMovie& movie, std::int64_t until) {
    std::array<float, 1024> left;
    std::array<float, 1024> right;
    while (m_soundUntil < until) {
        const auto count =
            static_cast<std::size_t>(std::min<std::int64_t>(left.size(), until - m_soundUntil));
        const std::span<float> l = std::span(left).first(count);
        const std::span<float> r = std::span(right).first(count);
        m_sound->read(m_soundUntil, l, r);
        SL42_TRY_VOID(movie.writeSound(l, r));
        m_soundUntil += static_cast<std::int64_t>(count);
    }
    return {};
}

/// False when it is time to end.
bool ShowRecorder::waitForMore() {
    const bool isBehind = isDue(timeOf(m_nextFrame));
    const platform::Lock lock(m_mutex);
    if (!isBehind && !m_isEnding)
        m_changed.waitUntil(m_mutex, std::chrono::steady_clock::now() + pause);
    return !m_isEnding;
}

} // namespace starloom
