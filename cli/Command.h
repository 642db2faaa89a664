// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the subcommands have in common: the options before them, and how they end.
#pragma once

#include "platform/Log.h"
#include "platform/base/Result.h"
#include "platform/process/Interruption.h"

#include <functional>
#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace gpu {
class Device;
}

namespace cli {

/// How a command ends. Usage errors are told apart from programs that fail.
enum class ExitStatus : int { Success = 0, Failure = 1, Usage = 2 };

/// Seconds that one frame may take, unless somebody says otherwise.
inline constexpr double defaultTimeLimit = 60;

/// Filled while the command line is read; outlives the commands.
struct Session {
    /// As gpu::Device::systemDefault() understands it, or empty for what the environment suggests.
    std::string deviceName;
    /// Prints what the console reports.
    bool isVerbose = false;
    ExitStatus exitStatus = ExitStatus::Success;

    /// Null when it cannot be had; the reason has been printed then.
    std::shared_ptr<gpu::Device> openDevice() const;
    /// For the lines that a console reports: prints all of them to standard error, or else only the
    /// first one about a font that is not the one it should be.
    platform::Log::Sink listener() const;
};

/// Prints "starloom: " and the message as a line to standard error.
ExitStatus fail(const std::string& message);

/// The same for what went well all the same.
void warn(const std::string& message);

/// Does work that has something to clear away and prints its error. When it ended early because of
/// Ctrl+C or a request to terminate, that is no error: the signal ends the program now, silently
/// and as it would have, so that whoever started it knows.
ExitStatus
interruptible(const std::function<platform::Result<void>(const platform::Interruption&)>& work);

/// Opens the console's window when there is no subcommand.
void addWindow(CLI::App& app, Session& session);

// Each adds one subcommand, which runs once the whole command line has been read.
void addRender(CLI::App& app, Session& session);
void addSong(CLI::App& app, Session& session);
void addVideo(CLI::App& app, Session& session);
void addCompile(CLI::App& app, Session& session);
void addPack(CLI::App& app, Session& session);
void addUnpack(CLI::App& app, Session& session);
void addPrelude(CLI::App& app, Session& session);
void addHistory(CLI::App& app, Session& session);
void addDevices(CLI::App& app, Session& session);
void addBench(CLI::App& app, Session& session);

} // namespace cli
