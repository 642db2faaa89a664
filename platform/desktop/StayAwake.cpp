// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/desktop/StayAwake.h"

#include "platform/base/FileDescriptor.h"
#include "platform/bus/SessionBus.h"
#include "platform/desktop/Inhibition.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <thread>
#include <utility>

namespace platform {
namespace {

/// For poll(): how long the library can wait for its answers; -1 for as long as it takes.
int millisecondsToWait(sd_bus* bus) {
    std::uint64_t end = 0;
    if (sd_bus_get_timeout(bus, &end) < 0 || end == UINT64_MAX)
        return -1;
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        std::chrono::microseconds(static_cast<std::int64_t>(end)) - now);
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 3'600'000));
}

} // namespace

/// Asks when it is made and lets go when it goes.
class StayAwake::Vigil {
public:
    explicit Vigil(const Settings& settings)
        : m_stop(::eventfd(0, EFD_CLOEXEC)), m_thread([this, settings] { keep(settings); }) {}
    ~Vigil() {
        ::eventfd_write(m_stop.get(), 1);
        m_thread.join();
    }
    Vigil(const Vigil&) = delete;
    Vigil& operator=(const Vigil&) = delete;

private:
    void keep(const Settings& settings) {
        const BusPtr bus = connectToSessionBus("stay awake");
        if (!bus)
            return;
        Inhibition inhibition(*bus, settings.program, settings.reason, settings.patience);
        inhibition.ask();
        do {
            int processed = 0;
            while ((processed = sd_bus_process(bus.get(), nullptr)) > 0) {
            }
            if (processed < 0)
                return; // the bus has gone, and what it was asked for with it
        } while (wait(bus.get()));
        inhibition.release();
    }

    bool wait(sd_bus* bus) const {
        std::array<pollfd, 2> sources{
            pollfd{m_stop.get(), POLLIN, 0},
            pollfd{sd_bus_get_fd(bus), static_cast<short>(sd_bus_get_events(bus)), 0}};
        const int count = ::poll(sources.data(), sources.size(), millisecondsToWait(bus));
        return count < 0 ? errno == EINTR : sources[0].revents == 0;
    }

    const FileDescriptor m_stop;
    std::thread m_thread; // last: it uses all the others
};

StayAwake::StayAwake(Settings settings) : m_settings(std::move(settings)) {}
StayAwake::~StayAwake() = default;

void StayAwake::set(bool awake) {
    if (!awake)
        m_vigil.reset();
    else if (!m_vigil)
        m_vigil = std::make_unique<Vigil>(m_settings);
}

} // namespace platform
