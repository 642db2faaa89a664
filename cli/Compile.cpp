// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom compile`: what the compiler says about a program, on standard output.
#include "SL42/builder/Preprocessor.h"
#include "SL42/offline/OfflineConsole.h"
#include "cli/Command.h"
#include "cli/OpenConsole.h"
#include "cli/Source.h"
#include "cli/Subcommand.h"
#include "gpu/WaitFor.h"

#include <iostream>

namespace cli {
namespace {

struct CompileOptions {
    std::string file;
    bool plain = false;
    bool log = false;
};

ExitStatus compilePlain(gpu::Device& device, const Source& source) {
    const auto library = gpu::waitForLibrary(device, source.text);
    std::cout << (library ? (*library)->warnings() : library.error().message);
    return library ? ExitStatus::Success : ExitStatus::Failure;
}

void printLog(const std::string& log) {
    std::cout << log;
    if (!log.empty() && log.back() != '\n')
        std::cout << '\n';
}

ExitStatus compileProgram(const std::shared_ptr<gpu::Device>& device, const Source& source,
                          const std::string& name, const CompileOptions& options) {
    starloom::OfflineConsole console(device, source.title, source.text);
    printLog(options.log ? console.compileLog() : messagesAbout(console, source.text, name));
    return console.isComplete() && !console.hasError() ? ExitStatus::Success : ExitStatus::Failure;
}

ExitStatus compile(const CompileOptions& options, const Session& session) {
    const auto source = readSource(options.file);
    if (!source)
        return fail(source.error().message);
    const std::string name = nameOf(options.file, *source);
    if (const auto bad = starloom::findBadMusic(source->text); bad && !options.plain) {
        std::cout << name << ":" << bad->line << ":1: error: " << bad->reason << "\n";
        return ExitStatus::Failure;
    }
    const auto device = session.openDevice();
    if (!device)
        return ExitStatus::Failure;
    return options.plain ? compilePlain(*device, *source)
                         : compileProgram(device, *source, name, options);
}

} // namespace

void addCompile(CLI::App& app, Session& session) {
    const auto options = std::make_shared<CompileOptions>();
    Subcommand command(app, "compile", "Compile a program and print what is wrong with it");
    command.add("FILE", options->file, sourceHelp).required();
    command.add("--plain", options->plain,
                "Compile the text as it stands, without the console around it, and print "
                "the compiler's messages");
    command.add("--log", options->log,
                "Print the console's whole log, in which lines are counted from the prelude");
    command.run([options, &session] { session.exitStatus = compile(*options, session); });
}

} // namespace cli
