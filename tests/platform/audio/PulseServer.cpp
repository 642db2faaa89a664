// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/audio/PulseServer.h"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace tests {

PulseServer::PulseServer() {
    setenv("SDL_AUDIODRIVER", "pulseaudio", 1);
    setenv("PULSE_SERVER", ("unix:" + m_folder.path("socket")).c_str(), 1);
    // An idle output of this server looks for new listeners every two seconds only.
    setenv("PULSE_LATENCY_MSEC", "30", 1);
    for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME"})
        setenv(name, m_folder.path("").c_str(), 1);
    start();
}

void PulseServer::start() {
    const std::string protocol =
        "module-native-protocol-unix auth-anonymous=1 socket=" + m_folder.path("socket");
    std::filesystem::remove(m_folder.path("socket"));
    m_server = std::make_unique<Program>(std::vector<std::string>{
        "pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
        "--disable-shm=yes", "--realtime=no", "--high-priority=no", "--log-level=error", "-L",
        "module-null-sink sink_name=stage rate=48000 sink_properties=device.description=Stage",
        "-L",
        "module-null-sink sink_name=tuner rate=48000 sink_properties=device.description=Tuner",
        "-L", "module-sine sink=tuner frequency=3000", "-L", protocol});
    for (int i = 0; i < 1000 && !std::filesystem::exists(m_folder.path("socket")); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

static void control(std::vector<std::string> words) {
    words.insert(words.begin(), "pactl");
    if (Program(words, {.in = {}, .out = "/dev/null", .err = {}}).wait() != 0)
        throw std::runtime_error("pactl failed");
}

void PulseServer::plugIn() {
    control({"load-module", "module-sine-source", "source_name=whistle", "frequency=1000"});
}

void PulseServer::pullOut() {
    control({"unload-module", "module-sine-source"});
}

} // namespace tests
