// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom` without a subcommand opens the console's window. The window is a program of its own,
// so that the command line needs no window toolkit.
#include "cli/Command.h"
#include "platform/process/ChildProcess.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace cli {
namespace {

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value && *value;
}

ExitStatus usage(const std::string& message) {
    fail(message);
    return ExitStatus::Usage;
}

ExitStatus openWindow(const std::string& file, const Session& session) {
    std::error_code unknown;
    if (!file.empty() && !std::filesystem::exists(file, unknown))
        return usage(file + ": There is no such program or subcommand");
    if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY"))
        return usage("There is no display to open a window on; see starloom --help for what can be "
                     "done without one");
    if (!session.deviceName.empty())
        ::setenv("SL42_DEVICE", session.deviceName.c_str(), 1);
    std::vector<std::string> words{platform::programFolder() / "starloom-console"};
    if (!file.empty())
        words.insert(words.end(), {"--", file});
    return fail(platform::replaceProcess(words).message);
}

} // namespace

void addWindow(CLI::App& app, Session& session) {
    const auto file = std::make_shared<std::string>();
    app.add_option("FILE", *file, "Program or document to open in a window");
    app.require_subcommand(0, 1);
    app.parse_complete_callback([&app, &session, file] {
        if (app.get_subcommands().empty())
            session.exitStatus = openWindow(*file, session);
        else if (!file->empty())
            throw CLI::ExtrasError({*file});
    });
}

} // namespace cli
