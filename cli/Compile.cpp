// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom compile`: what the compiler says about a program, on standard output.
#include "SL42/offline/OfflineConsole.h"
#include "cli/Command.h"
#include "cli/Source.h"
#include "gpu/WaitFor.h"

#include <iostream>

namespace cli {
namespace {

struct CompileOptions {
    std::string file;
    bool plain = false;
};

ExitStatus compilePlain(gpu::Device& device, const Source& source) {
    const auto library = gpu::waitForLibrary(device, source.text);
    std::cout << (library ? (*library)->warnings() : library.error().message);
    return library ? ExitStatus::Success : ExitStatus::Failure;
}

ExitStatus compileProgram(const std::shared_ptr<gpu::Device>& device, const Source& source) {
    const starloom::OfflineConsole console(device, source.title, source.text);
    std::cout << console.compileLog();
    if (!console.compileLog().empty() && console.compileLog().back() != '\n')
        std::cout << '\n';
    if (!console.hasError() && !console.isComplete())
        std::cerr << console.diagnostics(); // here the device's reason stands, not in the log
    return console.hasError() ? ExitStatus::Failure : ExitStatus::Success;
}

ExitStatus compile(const CompileOptions& options, const Session& session) {
    const auto source = options.plain ? readSource(options.file) : readProgram(options.file);
    if (!source)
        return fail(source.error().message);
    const auto device = session.openDevice();
    if (!device)
        return ExitStatus::Failure;
    return options.plain ? compilePlain(*device, *source) : compileProgram(device, *source);
}

} // namespace

void addCompile(CLI::App& app, Session& session) {
    const auto options = std::make_shared<CompileOptions>();
    auto* command = app.add_subcommand("compile", "Compile a program and print the compile log");
    command->add_option("FILE", options->file, sourceHelp)->required();
    command->add_flag("--plain", options->plain,
                      "Compile the text as it stands, without the console around it, and print "
                      "the compiler's messages");
    command->callback([options, &session] { session.exitStatus = compile(*options, session); });
}

} // namespace cli
