// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The thread that watches the service: its replies, its deadlines, its death and what follows. It
// alone takes a process on and lets it go, so that it may use the process without the lock.
//
// Jobs that are submitted do not wake it, which would cost each of them a change of threads;
// instead it looks often enough.
#include "gpu/host/ServiceClient.h"

#include <algorithm>
#include <cstdio>
#include <poll.h>
#include <string_view>

namespace gpu::host {

namespace protocol = compute::protocol;
using namespace std::chrono_literals;
using platform::Lock;
using protocol::ReceiveStatus;

namespace {

/// Of processor time, until the service must be ready.
constexpr Milliseconds startTimeLimit = 10s;
/// How long the service may do nothing meanwhile: the start may wait for disks and networks.
constexpr Milliseconds idleLimitOfStart = 3s;
/// For what a service has and its private memory, when another device takes over.
constexpr Milliseconds finishTimeLimit = 1s;
/// While frames follow each other there is no need to look more often.
constexpr Milliseconds shortestInterval = 50ms;
constexpr Milliseconds longestInterval = 100ms;
constexpr Milliseconds longestIntervalAtRest = 500ms;

/// Best there is, whichever that is.
constexpr std::string_view automaticDevice = "auto";
/// Before what the service itself has to say, and not a library in it.
constexpr std::string_view spokenByService = "starloom-compute: ";
/// The second is without namespaces, which are the other thing that a driver may not like.
constexpr unsigned failedStartsOfDevice = 2;

} // namespace

void ServiceClient::watch() {
    while (!isStopping()) {
        if (needsService())
            startService();
        else
            watchOnce();
    }
    std::shared_ptr<ServiceProcess> last; // ends without the lock
    {
        const Lock lock(m_mutex);
        last = m_life.end();
    }
    last.reset();
    const Lock lock(m_mutex);
    giveUp("the device is gone");
}

bool ServiceClient::isStopping() const {
    const Lock lock(m_mutex);
    return m_stopping;
}

bool ServiceClient::needsService() const {
    const Lock lock(m_mutex);
    return !m_life.process() && !m_life.brokenReason();
}

void ServiceClient::startService() {
    bool mayIsolate = false;
    std::string device;
    {
        const Lock lock(m_mutex);
        mayIsolate = m_life.begin();
        device = m_device;
        m_jobs.forgetTimes();
        m_jobs.countWaiting(device != hostDevice);
    }
    auto started = ServiceProcess::start(m_executable, device, mayIsolate);
    std::unique_ptr<ServiceProcess> unwanted; // goes without the lock
    const Lock lock(m_mutex);
    if (started && device != m_device) { // chosen meanwhile
        unwanted = std::move(*started);
        return;
    }
    if (!started)
        return runWasUseless(started.error().message);
    m_times.watchStart((*started)->id());
    m_startUsage.begin(m_times.starting());
    m_life.adopt(std::move(*started));
}

std::shared_ptr<ServiceProcess> ServiceClient::process() const {
    const Lock lock(m_mutex);
    return m_life.process();
}

bool ServiceClient::isDistrusted() const {
    const Lock lock(m_mutex);
    return m_life.isDistrusted();
}

void ServiceClient::watchOnce() {
    const auto process = this->process();
    pollfd sources[] = {{m_wakeUp.descriptor(), POLLIN, 0},
                        {process ? process->channel().descriptor() : -1, POLLIN, 0},
                        {process ? process->messages().descriptor() : -1, POLLIN, 0}};
    ::poll(sources, std::size(sources), static_cast<int>(timeToSleep().count()));
    m_wakeUp.clear();
    if (!process)
        return;
    if (sources[2].revents != 0)
        process->messages().passOn();
    std::optional<Death> death;
    if (!isDistrusted())
        death = receiveReplies(*process);
    if (!death)
        death = judge();
    if (death)
        bury(*death, *process);
}

// ---- replies ------------------------------------------------------------------------------------

std::optional<Death> ServiceClient::receiveReplies(ServiceProcess& process) {
    // Bounded, so that a service that never stops talking cannot keep us from the clock.
    for (int i = 0; i < 64; ++i) {
        const auto received =
            process.channel().receive(protocol::Channel::Descriptors::Drop, false);
        if (received.status == ReceiveStatus::Nothing)
            return std::nullopt;
        if (received.status == ReceiveStatus::Closed)
            return Death::Ended;
        const auto reply = received.status == ReceiveStatus::Message
                               ? protocol::decode<protocol::Reply>(received.bytes)
                               : std::nullopt;
        const Lock lock(m_mutex);
        if (!reply ||
            !std::visit([this](const auto& r) SL42_REQUIRES(m_mutex) { return handle(r); }, *reply))
            return Death::Nonsense;
    }
    return std::nullopt;
}

bool ServiceClient::handle(const protocol::Ready& ready) {
    if (!m_life.take(ready))
        return false;
    if (!m_life.isDistrusted()) // or else it is that of the device before
        m_deviceName = ready.device;
    m_times.watchThreads(m_life.process()->id());
    pump();
    return true;
}

bool ServiceClient::handle(const protocol::JobDone& done) {
    return m_jobs.take(done, m_life);
}

template <class T>
bool ServiceClient::handle(const T& reply) {
    return m_requests.take(reply, m_life);
}

// ---- time ---------------------------------------------------------------------------------------

bool ServiceClient::isAtRest() const {
    return m_life.isReady() && !m_jobs.isAnySent() && m_jobs.isIdleSinceRead() &&
           m_requests.sentCount() == 0;
}

std::chrono::milliseconds ServiceClient::timeToSleep() const {
    const Lock lock(m_mutex);
    if (!m_life.process())
        return std::chrono::minutes(1);
    // The times at rest are read once, so that those of the next job are known from its beginning.
    auto time = std::clamp(m_jobs.timeLimit() / 4, Milliseconds(20),
                           isAtRest() ? longestIntervalAtRest : longestInterval);
    if (const auto left = m_jobs.timeLeft(m_times.kernels()))
        time = std::min(time, *left);
    return std::max(time, Milliseconds(10)); // finer than that, nothing is measured
}

/// Sends what is to be sent when all is well.
std::optional<Death> ServiceClient::judge() {
    const Lock lock(m_mutex);
    if (m_life.isDistrusted())
        return Death::Distrusted;
    if (m_life.hasSendFailed())
        return Death::Ended;
    measure();
    const auto death = overdue();
    if (!death) {
        pump();
        m_kept.keepNowAndThen();
    }
    return death;
}

void ServiceClient::measure() {
    const auto now = Clock::now();
    if (isAtRest())
        return; // nothing has changed
    if (m_life.isReady() && !m_jobs.isFirstMeasured() && now - m_measuredAt < shortestInterval)
        return;
    m_measuredAt = now;
    m_jobs.measure(m_times, now);
    m_requests.measure(m_times.compilers());
}

std::optional<Death> ServiceClient::overdue() const {
    if (!m_life.isReady()) {
        if (m_startUsage.processorTime(m_times.starting()) >= startTimeLimit ||
            m_startUsage.idleTime(m_times.starting()) >= idleLimitOfStart)
            return Death::StartTimeLimit;
        return std::nullopt;
    }
    const auto death = m_jobs.overdue(m_times.kernels());
    return death ? death : m_requests.overdue(m_times.compilers());
}

// ---- death --------------------------------------------------------------------------------------

void ServiceClient::bury(Death death, ServiceProcess& process) {
    std::optional<protocol::JobId> suspect;
    bool mayFinish = false;
    {
        const Lock lock(m_mutex);
        mayFinish = death == Death::Distrusted && m_life.mayFinish();
        m_life.stopSending();
        suspect = m_jobs.firstSent();
    }
    if (mayFinish)
        letFinish(process);
    if (death == Death::JobTimeLimit && suspect)
        process.askForPlace(*suspect);
    process.end();
    if (mayReceiveMore(death))
        receiveReplies(process); // what it had finished before
    settle(death, process, suspect);
}

/// Whatever goes wrong meanwhile, what the service has not said to be done is done once more.
void ServiceClient::letFinish(ServiceProcess& process) {
    if (!process.askToFinish())
        return;
    const auto end = Clock::now() + finishTimeLimit;
    while (!isStopping()) {
        const auto left = std::chrono::ceil<Milliseconds>(end - Clock::now());
        pollfd sources[] = {{m_wakeUp.descriptor(), POLLIN, 0},
                            {process.channel().descriptor(), POLLIN, 0}};
        if (left <= 0ms || ::poll(sources, std::size(sources), static_cast<int>(left.count())) <= 0)
            return;
        m_wakeUp.clear();
        if (receiveReplies(process))
            return;
    }
}

bool ServiceClient::mayReceiveMore(Death death) const {
    const Lock lock(m_mutex);
    return m_life.isReady() && death != Death::Nonsense && death != Death::Distrusted;
}

void ServiceClient::settle(Death death, const ServiceProcess& process,
                           std::optional<protocol::JobId> suspect) {
    std::shared_ptr<ServiceProcess> last; // goes without the lock
    const Lock lock(m_mutex);
    last = m_life.end();
    if (m_life.isReady()) {
        m_requests.blame(death, process, m_jobs.isAnySent(), m_times.compilers());
        const bool suspectIsDone = !m_jobs.isAnySent() || m_jobs.firstSent() != suspect;
        if (death == Death::Ended || !suspectIsDone)
            m_jobs.blame(death, process.lastWords());
    }
    m_jobs.keepForNextRun();
    m_requests.keepForNextRun();
    m_kept.serviceEnded(death == Death::JobNotWanted);
    if ((!m_life.isReady() && death != Death::Distrusted) || death == Death::Nonsense)
        runWasUseless(death == Death::Nonsense ? "the compute service answers nonsense"
                                               : "the compute service does not start",
                      process.messages().last());
}

void ServiceClient::runWasUseless(const std::string& reason, const std::string& said) {
    const bool tooOften = m_life.wasUseless();
    if (m_device != hostDevice && m_life.failedRuns() >= failedStartsOfDevice)
        return goOnWithHost(said);
    if (tooOften)
        giveUp(reason);
}

/// The service has said why, on standard error, too.
void ServiceClient::goOnWithHost(const std::string& said) {
    if (m_device != automaticDevice) {
        m_deviceFailure =
            "Programs run on the processor, since the device '" + m_device + "' does not start";
        std::fprintf(stderr, "%s\n", m_deviceFailure.c_str());
        if (said.starts_with(spokenByService))
            m_deviceFailure += ": " + said.substr(spokenByService.size());
    }
    m_device = hostDevice;
    m_deviceName.clear();
    m_life.wasUseful();
}

void ServiceClient::giveUp(const std::string& reason) {
    m_life.giveUp(reason);
    m_jobs.failAll(reason);
    m_requests.failAll("error: " + reason);
}

} // namespace gpu::host
