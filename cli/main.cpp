// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The command line `starloom`: data goes to standard output, messages go to standard error.
#include "cli/Command.h"

#include "gpu/Device.h"

#include <iostream>

namespace {

int finish(cli::ExitStatus status) {
    // A full disk behind standard output must not look like success.
    if (status == cli::ExitStatus::Success && !std::cout.flush())
        status = cli::fail("cannot write to standard output");
    return static_cast<int>(status);
}

std::string version(bool isVerbose) {
    const std::string line = "Starloom 42 " SL42_VERSION;
    return isVerbose ? line + '\n' + gpu::Device::describeSandbox() : line;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Opens the fantasy console Starloom 42, or runs its programs without a window.",
                 "starloom");
    cli::Session session;
    bool isVerbose = false;
    app.add_flag("--verbose", isVerbose,
                 "With --version: also try how well programs are locked in");
    app.set_version_flag("--version", [&isVerbose] { return version(isVerbose); });
    app.add_option("--device", session.deviceName, "Where programs run: host, the processor")
        ->check(CLI::IsMember({"host"}));
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
    cli::addBench(app, session);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) { // help and version end the parse this way, too
        return app.exit(stop) == 0 ? finish(cli::ExitStatus::Success)
                                   : static_cast<int>(cli::ExitStatus::Usage);
    }
    return finish(session.exitStatus);
}
