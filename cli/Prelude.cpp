// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom prelude`: the text that stands in front of every program, on standard output.
#include "SL42/prelude/ShaderStrings.h"
#include "cli/Command.h"
#include "cli/Subcommand.h"

#include <iostream>

namespace cli {

void addPrelude(CLI::App& app, Session&) {
    Subcommand(app, "prelude", "Print the text that stands in front of every program").run([] {
        std::cout << starloom::SharedShaderStrings::standardProcessingHeader();
    });
}

} // namespace cli
