// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The command line `starloom`: data goes to standard output, messages go to standard error.
#include "cli/Command.h"

#include "gpu/Device.h"
#include "platform/audio/SDLAudioThread.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <iostream>
#include <thread>

namespace {

int finish(cli::ExitStatus status) {
    // A full disk behind standard output must not look like success.
    if (status == cli::ExitStatus::Success && !std::cout.flush())
        status = cli::fail("cannot write to standard output");
    return static_cast<int>(status);
}

/// Of the widest vectors, in bits.
int vectorWidth() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f"))
        return 512;
    if (__builtin_cpu_supports("avx2"))
        return 256;
#endif
    return 128;
}

std::string soundInputs() {
    using namespace std::chrono_literals;
    platform::SDLAudioThread thread;
    std::this_thread::sleep_for(500ms); // until the thread has asked the system
    std::string names;
    for (const std::string& name : thread.captureDevices())
        names += (names.empty() ? "" : ", ") + name;
    return names.empty() ? "none" : names;
}

/// A driver takes a moment until it says what it is for.
std::string nameOf(const gpu::Device& device) {
    using namespace std::chrono_literals;
    for (int i = 0; i < 500 && !device.state().isKnown; ++i)
        std::this_thread::sleep_for(10ms);
    return device.state().name;
}

std::string version(const cli::Session& session) {
    const std::string line = "Starloom 42 " SL42_VERSION;
    if (!session.isVerbose)
        return line;
    const auto device = session.openDevice();
    return line + '\n' + gpu::Device::describeSandbox() +
           "\ndevice: " + (device ? nameOf(*device) : "none") + ", vectors of " +
           std::to_string(vectorWidth()) + " bits\nsound inputs: " + soundInputs();
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Opens the fantasy console Starloom 42, or runs its programs without a window.",
                 "starloom");
    cli::Session session;
    app.add_flag(
        "--verbose", session.isVerbose,
        "Print what the console reports while it works, to standard error; with --version: "
        "how well programs are locked in, what they run on, and the sound inputs");
    app.add_option("--device", session.deviceName,
                   "Where programs run: host, the processor; auto, the best graphics device or "
                   "else the processor; vulkan, or vulkan:NAME, as `starloom devices` lists them")
        ->check([](const std::string& choice) {
            return gpu::Device::isChoice(choice) ? "" : choice + " names no device";
        });
    // Behind the options that it looks at: they are carried out in this order.
    app.set_version_flag("--version", [&session] { return version(session); });
    app.fallthrough(); // options of the whole may also stand after the subcommand
    cli::addWindow(app, session);
    cli::addRender(app, session);
    cli::addSong(app, session);
    cli::addVideo(app, session);
    cli::addCompile(app, session);
    cli::addPack(app, session);
    cli::addUnpack(app, session);
    cli::addPrelude(app, session);
    cli::addHistory(app, session);
    cli::addDevices(app, session);
    cli::addBench(app, session);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) { // help and version end the parse this way, too
        return app.exit(stop) == 0 ? finish(cli::ExitStatus::Success)
                                   : static_cast<int>(cli::ExitStatus::Usage);
    }
    return finish(session.exitStatus);
}
