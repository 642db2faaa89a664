// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Keeps the desktop from blanking the screen or going to sleep while nobody touches it, as during a
// show. The desktop is asked over the session bus, on a thread of its own: first its portal, then
// its screen saver. Where there is neither, nothing happens.
#pragma once

#include <chrono>
#include <memory>
#include <string>

namespace platform {

/// One thread, which never waits for the bus. A process that dies keeps nothing awake: the desktop
/// sees that it has left the bus.
class StayAwake {
public:
    struct Settings {
        std::string program; ///< its name for the screen saver
        std::string reason;  ///< a few words for the user, whom a desktop may show them
        /// How long to wait for an answer before the next service is asked.
        std::chrono::milliseconds patience{5000};
    };

    explicit StayAwake(Settings settings);
    ~StayAwake();
    StayAwake(const StayAwake&) = delete;
    StayAwake& operator=(const StayAwake&) = delete;

    void set(bool awake);

private:
    class Vigil;

    const Settings m_settings;
    std::unique_ptr<Vigil> m_vigil; ///< while it is to stay awake
};

} // namespace platform
