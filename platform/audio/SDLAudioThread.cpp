// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/SDLAudioThread.h"

#include <SDL2/SDL.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

namespace platform {
namespace {

using SteadyClock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using Stream = SDLAudioStream;
using StreamPtr = std::shared_ptr<const SDLAudioStream>;

constexpr int sampleRate = 48000;
constexpr int blockLength = 1024;
/// How often devices are looked after.
constexpr milliseconds watchInterval(200);
/// Pauses between attempts to open a device; they double from the first to the last.
constexpr milliseconds firstRetry(250);
constexpr milliseconds lastRetry(4000);
/// How long others wait for this thread at most.
constexpr milliseconds patience(1000);

bool startSubsystem() {
    if (SDL_WasInit(SDL_INIT_AUDIO) != 0)
        return true;
    if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0)
        return false;
    // Nobody reads events; devices are watched by their status.
    SDL_EventState(SDL_AUDIODEVICEADDED, SDL_IGNORE);
    SDL_EventState(SDL_AUDIODEVICEREMOVED, SDL_IGNORE);
    return true;
}

void stopSubsystem() {
    if (SDL_WasInit(SDL_INIT_AUDIO) != 0)
        SDL_QuitSubSystem(SDL_INIT_AUDIO);
}

/// What SDL plays or captures.
class Device {
public:
    explicit Device(Stream::Kind kind) : m_capture(kind == Stream::Kind::Capture) {}
    ~Device() { close(); }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    /// Opens, watches or closes, so that what is open is what is wanted.
    void lookAfter(const StreamPtr& wanted);
    void close();
    bool isOpen() const { return m_id != 0; }

private:
    void open();
    void fail(const std::string& reason);
    static void onBlock(void* stream, Uint8* bytes, int length);

    const int m_capture;
    StreamPtr m_stream;
    SDL_AudioDeviceID m_id = 0;
    bool m_failed = false;
    milliseconds m_pause = firstRetry;
    SteadyClock::time_point m_nextAttempt;
};

void Device::onBlock(void* stream, Uint8* bytes, int length) {
    static_cast<const Stream*>(stream)->onBlock(
        {reinterpret_cast<float*>(bytes), static_cast<std::size_t>(length) / sizeof(float)});
}

void Device::close() {
    if (m_id != 0)
        SDL_CloseAudioDevice(m_id);
    m_id = 0;
}

void Device::lookAfter(const StreamPtr& wanted) {
    if (wanted != m_stream) {
        close();
        m_stream = wanted;
        m_failed = false;
        m_pause = firstRetry;
        m_nextAttempt = SteadyClock::now();
    }
    if (m_id != 0 && SDL_GetAudioDeviceStatus(m_id) == SDL_AUDIO_STOPPED) {
        m_stream->onChange({.kind = SDLAudioChange::Kind::Lost, .description = "it has gone"});
        close();
        m_failed = true;
        m_pause = firstRetry;
        m_nextAttempt = SteadyClock::now();
    } else if (m_stream && m_id == 0 && SteadyClock::now() >= m_nextAttempt) {
        open();
    }
}

void Device::open() {
    m_nextAttempt = SteadyClock::now() + m_pause;
    m_pause = std::min(2 * m_pause, lastRetry);
    if (!startSubsystem())
        return fail(SDL_GetError());
    // Some back ends complain at length on standard error when there is nothing to open.
    if (SDL_GetNumAudioDevices(m_capture) == 0)
        return fail("there is no device");
    SDL_AudioSpec wish{};
    wish.freq = sampleRate;
    wish.format = AUDIO_F32SYS;
    wish.channels = m_capture != 0 ? 1 : 2;
    wish.samples = blockLength;
    wish.callback = onBlock;
    wish.userdata = const_cast<Stream*>(m_stream.get());
    const std::string& name = m_stream->deviceName;
    // SDL converts to what the device has.
    m_id = SDL_OpenAudioDevice(name.empty() ? nullptr : name.c_str(), m_capture, &wish, nullptr, 0);
    if (m_id == 0)
        return fail(SDL_GetError());
    m_failed = false;
    m_pause = firstRetry;
    // Nothing else from now on: while a sound server restarts, its hardware is not to be taken.
    SDL_SetHint(SDL_HINT_AUDIODRIVER, SDL_GetCurrentAudioDriver());
    m_stream->onChange({.kind = SDLAudioChange::Kind::Opened,
                        .description = name.empty() ? "default device" : name,
                        .identifier = m_id,
                        .latency = Seconds(static_cast<double>(blockLength) / sampleRate)});
    SDL_PauseAudioDevice(m_id, 0);
}

void Device::fail(const std::string& reason) {
    if (!std::exchange(m_failed, true))
        m_stream->onChange({.kind = SDLAudioChange::Kind::Failed, .description = reason});
}

std::vector<std::string> captureNames() {
    std::vector<std::string> names;
    for (int i = 0; i < SDL_GetNumAudioDevices(1); ++i)
        if (const char* name = SDL_GetAudioDeviceName(i, 1))
            names.emplace_back(name);
    char* preferred = nullptr;
    SDL_AudioSpec spec;
    if (SDL_GetDefaultAudioInfo(&preferred, &spec, 1) == 0 && preferred != nullptr) {
        const auto found = std::find(names.begin(), names.end(), preferred);
        if (found != names.end())
            std::rotate(names.begin(), found, found + 1);
        SDL_free(preferred);
    }
    return names;
}

} // namespace

/// Everything that the thread needs, kept alive by it.
struct SDLAudioThread::Shared {
    void run();
    void lookAfterDevices();
    void listDevices();

    std::mutex mutex;
    std::condition_variable changed;  ///< tells the thread
    std::condition_variable answered; ///< tells those who wait for it
    std::array<StreamPtr, 2> wanted;  ///< by kind
    bool isNew = true;                ///< something of this has changed
    bool listWanted = true;
    std::vector<std::string> captureDevices;
    bool closing = false;
    bool closed = false;

    // The thread's own.
    Device output{Stream::Kind::Output};
    Device capture{Stream::Kind::Capture};
};

void SDLAudioThread::Shared::run() {
    // SDL's subsystem is one for the whole process: a thread that was left to itself ends first.
    static std::mutex subsystem;
    const std::lock_guard alone(subsystem);
    std::unique_lock lock(mutex);
    while (!closing) {
        isNew = false;
        const bool listing = listWanted;
        lock.unlock();
        if (listing)
            listDevices();
        lookAfterDevices();
        lock.lock();
        changed.wait_for(lock, watchInterval, [this] { return isNew || closing; });
    }
    lock.unlock();
    output.close();
    capture.close();
    stopSubsystem();
    lock.lock();
    closed = true;
    answered.notify_all();
}

// A sound server that was started again is found only by a subsystem that starts anew.
void SDLAudioThread::Shared::listDevices() {
    if (!output.isOpen() && !capture.isOpen())
        stopSubsystem();
    std::vector<std::string> names;
    if (startSubsystem())
        names = captureNames();
    const std::lock_guard lock(mutex);
    captureDevices = std::move(names);
    listWanted = false;
    answered.notify_all();
}

void SDLAudioThread::Shared::lookAfterDevices() {
    std::unique_lock lock(mutex);
    const auto streams = wanted;
    lock.unlock();
    output.lookAfter(streams[0]);
    capture.lookAfter(streams[1]);
    if (!output.isOpen() && !capture.isOpen() && (streams[0] || streams[1]))
        stopSubsystem(); // likewise
}

SDLAudioThread::SDLAudioThread() : m_shared(std::make_shared<Shared>()) {
    // What is played elsewhere on the machine can be listened to as well.
    SDL_SetHint(SDL_HINT_AUDIO_INCLUDE_MONITORS, "1");
    SDL_SetHint(SDL_HINT_APP_NAME, "Starloom 42");
    // Ending the program stays its own business.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    std::thread([shared = m_shared] { shared->run(); }).detach();
}

SDLAudioThread::~SDLAudioThread() {
    std::unique_lock lock(m_shared->mutex);
    m_shared->closing = true;
    m_shared->changed.notify_all();
    m_shared->answered.wait_for(lock, patience, [this] { return m_shared->closed; });
}

static std::size_t indexOf(Stream::Kind kind) {
    return kind == Stream::Kind::Output ? 0 : 1;
}

void SDLAudioThread::keepOpen(std::shared_ptr<const SDLAudioStream> stream) {
    const std::lock_guard lock(m_shared->mutex);
    m_shared->wanted[indexOf(stream->kind)] = std::move(stream);
    m_shared->isNew = true;
    m_shared->changed.notify_all();
}

void SDLAudioThread::close(SDLAudioStream::Kind kind) {
    const std::lock_guard lock(m_shared->mutex);
    m_shared->wanted[indexOf(kind)] = nullptr;
    m_shared->isNew = true;
    m_shared->changed.notify_all();
}

std::vector<std::string> SDLAudioThread::captureDevices() {
    std::unique_lock lock(m_shared->mutex);
    m_shared->listWanted = true;
    m_shared->isNew = true;
    m_shared->changed.notify_all();
    m_shared->answered.wait_for(lock, patience, [this] { return !m_shared->listWanted; });
    return m_shared->captureDevices;
}

} // namespace platform
