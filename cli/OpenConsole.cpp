// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "cli/OpenConsole.h"

#include "SL42/builder/Assembly.h"
#include "SL42/builder/CompilerMessages.h"
#include "cli/Source.h"

#include <chrono>
#include <iostream>

namespace cli {

std::shared_ptr<gpu::Device> openDevice(const Session& session, double timeLimit) {
    auto device = session.openDevice();
    if (device)
        device->setTimeLimit(
            std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(timeLimit)));
    return device;
}

std::unique_ptr<starloom::OfflineConsole> openConsole(const std::string& file,
                                                      const Session& session, double timeLimit) {
    const auto source = readProgram(file);
    if (!source) {
        fail(source.error().message);
        return nullptr;
    }
    const auto device = openDevice(session, timeLimit);
    if (!device)
        return nullptr;
    auto console = std::make_unique<starloom::OfflineConsole>(device, source->title, source->text,
                                                              session.listener());
    if (!console->isComplete()) {
        std::cerr << messagesAbout(*console, source->text, nameOf(file, *source));
        return nullptr;
    }
    std::cerr << messagesAbout(*console, source->text, nameOf(file, *source));
    if (const std::string& fault = console->engine().fault().get(); !fault.empty()) {
        fail(fault);
        return nullptr;
    }
    return console;
}

std::string messagesAbout(starloom::OfflineConsole& console, const std::string& source,
                          const std::string& file) {
    const std::string& log = console.compileLog();
    return starloom::readableMessages(
        starloom::messagesIn(log + "\n" + console.engine().remarks().get(),
                             starloom::spanOf(source)),
        file, source);
}

} // namespace cli
