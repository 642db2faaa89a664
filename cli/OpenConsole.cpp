// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "cli/OpenConsole.h"

#include "cli/Source.h"

#include <chrono>
#include <iostream>

namespace cli {

std::unique_ptr<starloom::OfflineConsole> openConsole(const std::string& file,
                                                      const Session& session, double timeLimit) {
    const auto source = readProgram(file);
    if (!source) {
        fail(source.error().message);
        return nullptr;
    }
    const auto device = session.openDevice();
    if (!device)
        return nullptr;
    const std::chrono::duration<double> limit(timeLimit);
    device->setTimeLimit(std::chrono::ceil<std::chrono::milliseconds>(limit));
    auto console = std::make_unique<starloom::OfflineConsole>(device, source->title, source->text);
    if (!console->isComplete()) {
        std::cerr << (console->hasError() ? console->compileLog() : console->diagnostics());
        return nullptr;
    }
    std::cerr << console->engine().warnings().get();
    if (const std::string& fault = console->engine().fault().get(); !fault.empty()) {
        fail(fault);
        return nullptr;
    }
    return console;
}

} // namespace cli
