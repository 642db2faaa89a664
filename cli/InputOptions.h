// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The options for what comes in while a program runs: sound, keys and the mouse.
#pragma once

#include "SL42/offline/OfflineInput.h"
#include "cli/Subcommand.h"
#include "platform/base/Result.h"

#include <string>

namespace cli {

struct InputOptions {
    std::string audio;
    std::string script;

    /// `--audio` and `--input`. The object must outlive the command.
    void addTo(Subcommand& command);
    /// Reads the files, of sound no more than so much. The error is one line with the file's name,
    /// and the line's number if it has one.
    platform::Result<starloom::InputFiles> read(double seconds) const;
};

} // namespace cli
