// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom pack`: a document from program text, as the window saves it.
#include "SL42/document/Compression.h"
#include "SL42/document/Minifier.h"
#include "cli/Command.h"
#include "cli/Source.h"
#include "cli/Subcommand.h"
#include "platform/WholeFile.h"

namespace cli {
namespace {

struct PackOptions {
    std::string file;
    std::string output;
    bool minify = false;
};

ExitStatus pack(const PackOptions& options) {
    const auto source = readSource(options.file);
    if (!source)
        return fail(source.error().message);
    const auto packed =
        starloom::Packer::pack(options.minify ? starloom::minify(source->text) : source->text);
    if (!packed)
        return fail(options.file + ": " + packed.error().message);
    const auto saved = platform::saveWholeFile(options.output, *packed);
    return saved ? ExitStatus::Success : fail(saved.error().message);
}

} // namespace

void addPack(CLI::App& app, Session& session) {
    const auto options = std::make_shared<PackOptions>();
    Subcommand command(app, "pack", "Save a program as a document");
    command.add("FILE", options->file, sourceHelp).required();
    command.add("-o,--output", options->output, "Document to write, such as NAME.sl42").required();
    command.add("--minify", options->minify,
                "Leave out comments, indentation and line ends: the packed form, whose "
                "length is the packed size");
    command.run([options, &session] { session.exitStatus = pack(*options); });
}

} // namespace cli
