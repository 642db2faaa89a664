// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The opening steps of the commands that run a program.
#pragma once

#include "SL42/offline/OfflineConsole.h"
#include "cli/Command.h"

#include <memory>
#include <string>

namespace cli {

/// With `timeLimit` in seconds for each frame. Null when it cannot be had; the reason has been
/// printed then.
std::shared_ptr<gpu::Device> openDevice(const Session& session, double timeLimit);

/// A console with the program in `file` ("-" for standard input), compiled without faults, and its
/// song rendered. `timeLimit` is in seconds for each frame. Null when it cannot be had; the reason
/// has been printed then.
std::unique_ptr<starloom::OfflineConsole> openConsole(const std::string& file,
                                                      const Session& session, double timeLimit);

/// What there is to say about the console's program, `source`, as people and editors read it.
std::string messagesAbout(starloom::OfflineConsole& console, const std::string& source,
                          const std::string& file);

} // namespace cli
