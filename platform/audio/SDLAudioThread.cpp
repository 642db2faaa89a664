// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/SDLAudioThread.h"

#include "platform/base/Mutex.h"

#include <SDL2/SDL.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
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
/// How often devices are looked for where there are none and nobody waits for them.
constexpr milliseconds searchInterval(10'000);
/// How long others wait for this thread to end.
constexpr milliseconds patience(1000);

/// SDL's audio, which is one for the whole process. It finds a sound server that was started again
/// only when it starts anew itself.
class Subsystem {
public:
    enum class State { Stopped, Running, Failed };

    bool start();
    void stop();
    State state() const { return m_state; }

private:
    State m_state = State::Stopped;
};

bool Subsystem::start() {
    if (m_state == State::Running)
        return true;
    m_state = State::Failed;
    if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0)
        return false;
    // Nobody reads events; devices are watched by their status, and their list is compared.
    SDL_EventState(SDL_AUDIODEVICEADDED, SDL_IGNORE);
    SDL_EventState(SDL_AUDIODEVICEREMOVED, SDL_IGNORE);
    m_state = State::Running;
    return true;
}

void Subsystem::stop() {
    if (m_state == State::Running)
        SDL_QuitSubSystem(SDL_INIT_AUDIO);
    m_state = State::Stopped;
}

/// What SDL plays or captures.
class Device {
public:
    Device(Subsystem& subsystem, Stream::Kind kind)
        : m_subsystem(subsystem), m_capture(kind == Stream::Kind::Capture) {}
    ~Device() { close(); }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    /// Opens, watches or closes, so that what is open is what is wanted.
    void lookAfter(const StreamPtr& wanted);
    void close();
    bool isOpen() const { return m_id != 0; }
    /// Ends the pause before the next attempt to open it.
    void tryAgain() { m_nextAttempt = SteadyClock::now(); }

private:
    void open();
    void fail(const std::string& reason);
    static void onBlock(void* stream, Uint8* bytes, int length);

    Subsystem& m_subsystem;
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
    if (!m_subsystem.start())
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
    return names;
}

void putDefaultFirst(std::vector<std::string>& names) {
    char* preferred = nullptr;
    SDL_AudioSpec spec;
    if (SDL_GetDefaultAudioInfo(&preferred, &spec, 1) != 0 || preferred == nullptr)
        return;
    const auto found = std::find(names.begin(), names.end(), preferred);
    if (found != names.end())
        std::rotate(names.begin(), found, found + 1);
    SDL_free(preferred);
}

} // namespace

/// Everything that the thread needs, kept alive by it.
struct SDLAudioThread::Shared {
    using Streams = std::array<StreamPtr, 2>; ///< by kind

    void run();
    /// Until something has changed or it is time to look after the devices again. Returns what is
    /// wanted; none when closing.
    std::optional<Streams> waitForChange();
    void lookAfterDevices(const Streams& streams);
    void listDevices();

    Mutex mutex;
    Condition changed;  ///< tells the thread
    Condition answered; ///< tells those who wait for it
    Streams wanted SL42_GUARDED_BY(mutex);
    bool isNew SL42_GUARDED_BY(mutex) = true; ///< something of this has changed
    std::vector<std::string> captureDevices SL42_GUARDED_BY(mutex);
    bool closing SL42_GUARDED_BY(mutex) = false;
    bool closed SL42_GUARDED_BY(mutex) = false;

    Mutex handlerMutex; ///< held while the handler runs
    std::function<void()> onListChange SL42_GUARDED_BY(handlerMutex);

    // The thread's own.
    Subsystem subsystem;
    Device output{subsystem, Stream::Kind::Output};
    Device capture{subsystem, Stream::Kind::Capture};
    std::vector<std::string> listed; ///< as SDL had them
    SteadyClock::time_point nextSearch;
};

void SDLAudioThread::Shared::run() {
    // SDL's subsystem is one for the whole process: a thread that was left to itself ends first.
    static Mutex whole;
    const Lock alone(whole);
    while (const auto streams = waitForChange())
        lookAfterDevices(*streams);
    output.close();
    capture.close();
    subsystem.stop();
    const Lock lock(mutex);
    closed = true;
    answered.notifyAll();
}

std::optional<SDLAudioThread::Shared::Streams> SDLAudioThread::Shared::waitForChange() {
    const Lock lock(mutex);
    const auto end = SteadyClock::now() + watchInterval;
    while (!isNew && !closing && changed.waitUntil(mutex, end))
        continue;
    isNew = false;
    return closing ? std::nullopt : std::optional(wanted);
}

void SDLAudioThread::Shared::lookAfterDevices(const Streams& streams) {
    output.lookAfter(streams[0]);
    capture.lookAfter(streams[1]);
    const bool isIdle = !streams[0] && !streams[1];
    // Nobody wants a device yet, but what there is can be shown.
    if (isIdle && listed.empty() && SteadyClock::now() >= nextSearch) {
        subsystem.stop();
        subsystem.start();
        nextSearch = SteadyClock::now() + searchInterval;
    }
    listDevices();
    if (!output.isOpen() && !capture.isOpen() && !isIdle)
        subsystem.stop();
}

// While SDL's audio is stopped between two attempts, what was found last still holds.
void SDLAudioThread::Shared::listDevices() {
    if (subsystem.state() == Subsystem::State::Stopped)
        return;
    std::vector<std::string> names;
    if (subsystem.state() == Subsystem::State::Running)
        names = captureNames();
    if (names == listed)
        return;
    listed = names;
    capture.tryAgain(); // it may be back
    if (!names.empty())
        putDefaultFirst(names);
    {
        const Lock lock(mutex);
        captureDevices = std::move(names);
    }
    const Lock lock(handlerMutex);
    if (onListChange)
        onListChange();
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
    const Lock lock(m_shared->mutex);
    m_shared->closing = true;
    m_shared->changed.notifyAll();
    const auto end = SteadyClock::now() + patience;
    while (!m_shared->closed && m_shared->answered.waitUntil(m_shared->mutex, end))
        continue;
}

static std::size_t indexOf(Stream::Kind kind) {
    return kind == Stream::Kind::Output ? 0 : 1;
}

void SDLAudioThread::keepOpen(std::shared_ptr<const SDLAudioStream> stream) {
    const Lock lock(m_shared->mutex);
    m_shared->wanted[indexOf(stream->kind)] = std::move(stream);
    m_shared->isNew = true;
    m_shared->changed.notifyAll();
}

void SDLAudioThread::close(SDLAudioStream::Kind kind) {
    const Lock lock(m_shared->mutex);
    m_shared->wanted[indexOf(kind)] = nullptr;
    m_shared->isNew = true;
    m_shared->changed.notifyAll();
}

std::vector<std::string> SDLAudioThread::captureDevices() const {
    const Lock lock(m_shared->mutex);
    return m_shared->captureDevices;
}

void SDLAudioThread::watchCaptureDevices(std::function<void()> onChange) {
    const Lock lock(m_shared->handlerMutex);
    m_shared->onListChange = std::move(onChange);
}

} // namespace platform
