// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom unpack`: the program text in a document.
#include "cli/Command.h"
#include "cli/Source.h"
#include "cli/Subcommand.h"
#include "platform/WholeFile.h"

#include <iostream>

namespace cli {
namespace {

struct UnpackOptions {
    std::string file;
    std::string output;
};

ExitStatus unpack(const UnpackOptions& options) {
    const auto source = readDocumentSource(options.file);
    if (!source)
        return fail(source.error().message);
    if (options.output.empty()) {
        std::cout << source->text;
        return ExitStatus::Success;
    }
    const auto saved =
        platform::saveWholeFile(options.output, std::as_bytes(std::span(source->text)));
    return saved ? ExitStatus::Success : fail(saved.error().message);
}

} // namespace

void addUnpack(CLI::App& app, Session& session) {
    const auto options = std::make_shared<UnpackOptions>();
    Subcommand command(app, "unpack", "Print the program text in a document");
    command.add("FILE", options->file, "Document, or - for standard input").required();
    command.add("-o,--output", options->output, "File to write the text to instead");
    command.run([options, &session] { session.exitStatus = unpack(*options); });
}

} // namespace cli
