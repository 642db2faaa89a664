// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Records what a console shows and plays, without the show noticing: on a thread that only gets the
// time that nobody else wants. Pictures and sound carry the mixer's time: a picture is recorded
// with the samples that its frame was drawn for. When the encoder is late, the recording holds its
// last picture.
#pragma once

#include "SL42/recording/PictureQueue.h"
#include "platform/audio/SoundTap.h"
#include "platform/base/Mutex.h"
#include "platform/base/Result.h"
#include "platform/media/LiveMovie.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <thread>

namespace starloom {

/// Made when there is something to record, and gone when there is not. All times are the mixer's,
/// in samples.
class ShowRecorder {
public:
    static constexpr std::uint32_t framesPerSecond = 60;
    static constexpr std::uint32_t width = 960;
    static constexpr std::uint32_t height = 540;

    /// Of the machine's time: what is left over, or as much as others get.
    enum class Share { IdleTime, Equal };

    struct Client {
        /// Called on the recorder's thread when a file is complete, or with the reason why there is
        /// none; and when nothing more can be recorded at all, with an empty path.
        std::function<void(const std::string& path, const platform::Result<void>&)> finished;
        Share share = Share::IdleTime;
    };

    /// Starts at `now`. `sound` is open already.
    ShowRecorder(std::shared_ptr<const platform::SoundTap> sound, std::int64_t now, Client client);
    /// Completes the file.
    ~ShowRecorder();
    ShowRecorder(const ShowRecorder&) = delete;
    ShowRecorder& operator=(const ShowRecorder&) = delete;

    /// Where pictures come in, from one thread, which may go on calling when the recorder has gone.
    /// Each is seen from its time on.
    std::function<void(std::span<const std::uint32_t> pixels, std::int64_t time)> pictures() const;
    /// How late it is; to be called some dozens of times a second. Any thread.
    void advance(std::int64_t now) { m_now = now; }

    /// Keeps the last seconds from now on; 0 for none.
    void keepLast(double seconds) { m_keep = seconds; }
    // What follows is done as of now, though the recording gets there a little later.

    /// Has them written to a file, on a thread of their own; see Client.
    void saveLast(const std::string& path) { order(Order::Kind::Save, path); }
    /// Begins a file, or completes the one before; see Client.
    void startFile(const std::string& path) { order(Order::Kind::Start, path); }
    void finishFile() { order(Order::Kind::Finish, {}); }

    /// All before this time has been recorded.
    std::int64_t recordedUntil() const { return m_recordedUntil; }
    /// Frames that the recording held because the encoder was late.
    std::uint64_t heldFrames() const { return m_heldFrames; }
    std::size_t keptBytes() const { return m_keptBytes; }

private:
    static constexpr std::uint32_t sampleRate = 48000;
    static constexpr std::int64_t samplesPerFrame = sampleRate / framesPerSecond;

    struct Order {
        enum class Kind : std::uint8_t { Save, Start, Finish } kind;
        std::string path;
        std::int64_t time;
    };
    void order(Order::Kind kind, const std::string& path);
    std::optional<Order> nextOrder(std::int64_t until);

    void run();
    platform::Result<void> recordRest(platform::LiveMovie& movie);
    void carryOutOrders(platform::LiveMovie& movie, std::int64_t until);
    void carryOut(const Order& order, platform::LiveMovie& movie);
    void beginFile(platform::LiveMovie& movie, const std::string& path);
    platform::Result<void> recordDueFrames(platform::LiveMovie& movie);
    platform::Result<void> recordFrame(platform::LiveMovie& movie);
    platform::Result<void> recordSound(platform::LiveMovie& movie, std::int64_t until);
    bool isDue(std::int64_t time) const;
    bool waitForMore();
    void completeFile(platform::LiveMovie& movie);
    std::int64_t timeOf(std::int64_t frame) const { return m_start + frame * samplesPerFrame; }
    void fail(const platform::Error& error);

    const std::shared_ptr<const platform::SoundTap> m_sound;
    const std::int64_t m_start;
    const Client m_client;
    const std::shared_ptr<PictureQueue> m_pictures;
    std::atomic<std::int64_t> m_now;
    std::atomic<double> m_keep = 0;
    std::atomic<std::uint64_t> m_heldFrames = 0;
    std::atomic<std::size_t> m_keptBytes = 0;
    std::atomic<std::int64_t> m_recordedUntil;

    std::int64_t m_nextFrame = 0; // from here on the thread's own
    std::int64_t m_soundUntil;
    std::string m_file; ///< being written; empty for none
    bool m_isFileEnding = false;

    platform::Mutex m_mutex;
    platform::Condition m_changed;
    std::deque<Order> m_orders SL42_GUARDED_BY(m_mutex);
    bool m_isEnding SL42_GUARDED_BY(m_mutex) = false;
    std::jthread m_saving; ///< of the last seconds
    std::thread m_thread;  // last: it uses all the others
};

} // namespace starloom
